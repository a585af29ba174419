// Operations, which change a frame or leave it as it was.
#include "frames/operations.h"

#include <algorithm>
#include <string>
#include <utility>

#include "api/frames.h"
#include "api/guard.h"

namespace {

using api::guarded;
using api::Refusal;

// Changes a copy, which then takes the frame's place: some operations fail when they have changed counts already.
template <typename Operation>
xrd_result change(xrd_frame* frame, char* detail, const Operation& operation) {
  return guarded(detail, [&] {
    frames::Frame changed = api::copy_of(api::with_counts(frame));
    operation(changed);
    xrd_lines notes = api::printable_lines(changed.notes);
    frame->frame = std::move(changed);
    frame->notes = std::move(notes);
  });
}

void refuse_unless(bool makes_sense, const char* why) {
  if (!makes_sense) throw Refusal(XRD_INVALID, why);
}

frames::Operation operation_of(const std::string& name, const char* value) {
  const auto& table = frames::operations();
  const auto found = std::ranges::find(table, name, &frames::OperationOption::name);
  if (found == table.end()) throw Refusal(XRD_INVALID, "--" + name + " is not an operation");
  if (found->value.empty() != (value == nullptr)) {
    throw Refusal(XRD_INVALID, "--" + name + (value == nullptr ? " needs a value" : " takes no value"));
  }
  try {
    return found->make(value == nullptr ? "" : value);
  } catch (const frames::InvalidValue& invalid) {
    throw Refusal(XRD_INVALID, "--" + name + ": " + invalid.what());
  }
}

}  // namespace

extern "C" {

xrd_result xrd_crop(xrd_frame* frame, int x, int y, int width, int height, char* detail) {
  return change(frame, detail, [&](frames::Frame& changed) {
    refuse_unless(x >= 0 && y >= 0 && width >= 1 && height >= 1, "cannot be cropped: the rectangle is invalid");
    frames::crop(changed, x, y, width, height);
  });
}

xrd_result xrd_bin(xrd_frame* frame, int factor, char* detail) {
  return change(frame, detail, [&](frames::Frame& changed) {
    refuse_unless(factor >= 1, "cannot be binned by a factor below 1");
    frames::bin(changed, factor);
  });
}

xrd_result xrd_fit(xrd_frame* frame, int width, int height, char* detail) {
  return change(frame, detail, [&](frames::Frame& changed) {
    refuse_unless(width >= 1 && height >= 1, "cannot be fitted to a size below 1");
    frames::fit(changed, {width, height});
  });
}

xrd_result xrd_rotate(xrd_frame* frame, int quarters, char* detail) {
  return change(frame, detail, [&](frames::Frame& changed) {
    for (int left = (quarters % 4 + 4) % 4; left > 0; --left) frames::rotate(changed);
  });
}

xrd_result xrd_flip(xrd_frame* frame, int vertical, char* detail) {
  return change(frame, detail, [&](frames::Frame& changed) {
    frames::flip(changed, vertical != 0 ? frames::Flip::kVertical : frames::Flip::kHorizontal);
  });
}

xrd_result xrd_smooth(xrd_frame* frame, double sigma_x, double sigma_y, char* detail) {
  return change(frame, detail, [&](frames::Frame& changed) { frames::smooth(changed, sigma_x, sigma_y); });
}

xrd_result xrd_apply(xrd_frame* frame, const char* operation, const char* value, char* detail) {
  return change(frame, detail, [&](frames::Frame& changed) {
    operation_of(&api::required(operation, "operation's name"), value)(changed);
  });
}

}  // extern "C"
