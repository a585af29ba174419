// Frames: made, copied, and what is in them.
#include <algorithm>
#include <cstring>
#include <utility>

#include "api/frames.h"
#include "api/guard.h"
#include "frames/formats.h"
#include "frames/grid.h"
#include "frames/statistics.h"
#include "support/image_size.h"
#include "support/printable.h"

namespace api {

frames::Frame copy_of(const frames::Frame& frame) {
  const bool has_counts = !frame.counts.empty();
  frames::Frame copy = frames::blank_frame(frame, has_counts ? frame.width : 0, has_counts ? frame.height : 0);
  copy.width = frame.width;
  copy.height = frame.height;
  std::ranges::copy(frame.counts, copy.counts.begin());
  copy.mask = frame.mask;
  return copy;
}

xrd_lines printable_lines(const std::vector<std::string>& lines) {
  xrd_lines printable;
  printable.texts.reserve(lines.size());
  for (const std::string& line : lines) printable.texts.push_back(xrd::printable(line));
  return printable;
}

std::unique_ptr<xrd_frame> handle_of(frames::Frame frame) {
  auto handle = std::make_unique<xrd_frame>();
  handle->notes = printable_lines(frame.notes);
  handle->frame = std::move(frame);
  return handle;
}

const frames::Frame& with_counts(const xrd_frame* frame) {
  const frames::Frame& found = required(frame, "frame").frame;
  if (found.counts.empty()) throw Refusal(XRD_INVALID, "has no counts: only its header was loaded");
  return found;
}

}  // namespace api

namespace {

using api::guarded;
using api::Refusal;
using api::required;

frames::Frame frame_of(int width, int height, xrd_sample sample, const void* counts, const unsigned char* mask) {
  if (sample != XRD_UINT32 && sample != XRD_INT32)
    throw Refusal(XRD_INVALID, "the kind of sample must be XRD_UINT32 or XRD_INT32");
  const auto pixels = xrd::allocatable_pixels(width, height);
  if (pixels.value_or(0) == 0) {
    throw Refusal(XRD_INVALID,
                  "a frame cannot have " + std::to_string(width) + " x " + std::to_string(height) + " pixels");
  }
  frames::Frame frame;
  frame.width = width;
  frame.height = height;
  frame.is_signed = sample == XRD_INT32;
  frame.counts = frames::Counts(xrd::allocate_unset<std::uint32_t>(*pixels), *pixels);
  std::memcpy(frame.counts.data(), counts, *pixels * sizeof(std::uint32_t));
  const auto is_masked = [](unsigned char bits) { return bits != 0; };
  if (mask != nullptr && std::any_of(mask, mask + *pixels, is_masked)) frame.mask.assign(mask, mask + *pixels);
  return frame;
}

}  // namespace

extern "C" {

const char* xrd_version(void) {
  return XRDFRAME_VERSION;
}

xrd_result xrd_create(int width, int height, xrd_sample sample, const void* counts, const unsigned char* mask,
                      xrd_frame** frame, char* detail) {
  return guarded(detail, [&] {
    required(static_cast<const char*>(counts), "array of counts");
    required(frame, "place for the frame");
    *frame = api::handle_of(frame_of(width, height, sample, counts, mask)).release();
  });
}

xrd_result xrd_copy(const xrd_frame* frame, xrd_frame** copy, char* detail) {
  return guarded(detail, [&] {
    required(frame, "frame");
    required(copy, "place for the copy");
    auto made = api::handle_of(api::copy_of(frame->frame));
    made->halves = frame->halves;
    *copy = made.release();
  });
}

void xrd_free(xrd_frame* frame) {
  delete frame;
}

int xrd_width(const xrd_frame* frame) {
  return frame == nullptr ? 0 : frame->frame.width;
}

int xrd_height(const xrd_frame* frame) {
  return frame == nullptr ? 0 : frame->frame.height;
}

xrd_sample xrd_sample_of(const xrd_frame* frame) {
  if (frame == nullptr) return static_cast<xrd_sample>(0);
  return frame->frame.is_signed ? XRD_INT32 : XRD_UINT32;
}

const char* xrd_format_of(const xrd_frame* frame) {
  return frame == nullptr ? nullptr : frames::entry_of(frame->frame.format).keyword;
}

size_t xrd_images(const xrd_frame* frame) {
  return frame == nullptr ? 0 : frame->frame.images;
}

const void* xrd_counts(const xrd_frame* frame) {
  return frame == nullptr || frame->frame.counts.empty() ? nullptr : frame->frame.counts.data();
}

const unsigned char* xrd_mask(const xrd_frame* frame) {
  return frame == nullptr || frame->frame.mask.empty() ? nullptr : frame->frame.mask.data();
}

const xrd_lines* xrd_notes(const xrd_frame* frame) {
  return frame == nullptr ? nullptr : &frame->notes;
}

size_t xrd_item_count(const xrd_frame* frame) {
  return frame == nullptr ? 0 : frame->frame.items.size();
}

const char* xrd_item_name(const xrd_frame* frame, size_t index) {
  return index < xrd_item_count(frame) ? frame->frame.items[index].name.c_str() : nullptr;
}

const char* xrd_item_text(const xrd_frame* frame, size_t index) {
  return index < xrd_item_count(frame) ? frame->frame.items[index].text.c_str() : nullptr;
}

xrd_result xrd_statistics_of(const xrd_frame* frame, xrd_statistics* statistics, char* detail) {
  return guarded(detail, [&] {
    required(statistics, "place for the statistics");
    const frames::Statistics found = frames::statistics_of(api::with_counts(frame));
    *statistics = {static_cast<double>(found.minimum), static_cast<double>(found.maximum), found.mean,
                   static_cast<double>(found.known), static_cast<double>(found.unknown)};
  });
}

}  // extern "C"
