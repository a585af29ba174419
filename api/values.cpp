// Header values by their names.
#include "frames/header_values.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "api/guard.h"
#include "api/objects.h"

namespace {

using api::guarded;
using api::Refusal;
using api::required;

// All names, gathered without allocating.
struct Names {
  std::array<const char*, 32> names{};
  std::size_t count = 0;

  void operator()(const char* name, const auto& /*value*/) { names.at(count++) = name; }
  void operator()(const char* x_name, const char* y_name, const auto& point) {
    (*this)(x_name, point);
    (*this)(y_name, point);
  }
};

const Names& all_names() {
  static const Names found = [] {
    Names names;
    const frames::Header header;
    frames::visit_header(header, std::ref(names));
    return names;
  }();
  return found;
}

// A value of the header, or none. For a point, one of its numbers.
template <typename AnyHeader>
struct Value {
  template <typename Type>
  using Place = std::conditional_t<std::is_const_v<AnyHeader>, const std::optional<Type>, std::optional<Type>>*;

  Place<double> number = nullptr;
  Place<std::string> text = nullptr;
  Place<frames::Point> point = nullptr;
  double frames::Point::*coordinate = nullptr;
};

template <typename AnyHeader>
Value<AnyHeader> find_value(AnyHeader& header, std::string_view wanted) {
  struct Find {
    std::string_view wanted;
    Value<AnyHeader> value;

    void operator()(const char* name, decltype(*value.number) number) {
      if (name == wanted) value.number = &number;
    }
    void operator()(const char* name, decltype(*value.text) text) {
      if (name == wanted) value.text = &text;
    }
    void operator()(const char* x_name, const char* y_name, decltype(*value.point) point) {
      if (x_name != wanted && y_name != wanted) return;
      value.point = &point;
      value.coordinate = x_name == wanted ? &frames::Point::x : &frames::Point::y;
    }
  };
  Find find{wanted, {}};
  frames::visit_header(header, std::ref(find));
  return find.value;
}

Refusal unknown_value(const char* kind, const char* name) {
  return {XRD_INVALID, std::string("there is no ") + kind + " '" + name + "' in headers"};
}

// The point is known when both of its numbers are.
void set_half(std::optional<frames::Point>& point, frames::Point& half, double frames::Point::*coordinate,
              double number) {
  if (point) half = *point;
  half.*coordinate = number;
  point = std::isnan(half.x) || std::isnan(half.y) ? std::nullopt : std::optional(half);
}

}  // namespace

extern "C" {

size_t xrd_value_count(void) {
  return all_names().count;
}

const char* xrd_value_name(size_t index) {
  return index < all_names().count ? all_names().names[index] : nullptr;
}

int xrd_number(const xrd_frame* frame, const char* name, double* value) {
  if (frame == nullptr || name == nullptr || value == nullptr) return 0;
  const auto found = find_value(frame->frame.header, name);
  if (found.number != nullptr && *found.number) {
    *value = **found.number;
  } else if (found.point != nullptr && *found.point) {
    *value = (**found.point).*found.coordinate;
  } else {
    return 0;
  }
  return 1;
}

const char* xrd_text(const xrd_frame* frame, const char* name) {
  if (frame == nullptr || name == nullptr) return nullptr;
  const auto found = find_value(frame->frame.header, name);
  return found.text != nullptr && *found.text ? (*found.text)->c_str() : nullptr;
}

xrd_result xrd_set_number(xrd_frame* frame, const char* name, const double* value, char* detail) {
  return guarded(detail, [&] {
    frames::Header& header = required(frame, "frame").frame.header;
    const auto found = find_value(header, &required(name, "value's name"));
    if (value != nullptr && !std::isfinite(*value)) throw Refusal(XRD_INVALID, "a header value must be finite");
    if (found.number != nullptr) {
      *found.number = value == nullptr ? std::nullopt : std::optional(*value);
    } else if (found.point != nullptr) {
      frames::Point& half = found.point == &header.beam_centre ? frame->halves.beam_centre : frame->halves.pixel_size;
      set_half(*found.point, half, found.coordinate, value == nullptr ? api::Halves::kUnset : *value);
    } else {
      throw unknown_value("number", name);
    }
  });
}

xrd_result xrd_set_text(xrd_frame* frame, const char* name, const char* value, char* detail) {
  return guarded(detail, [&] {
    const auto found = find_value(required(frame, "frame").frame.header, &required(name, "value's name"));
    if (found.text == nullptr) throw unknown_value("text", name);
    if (value == nullptr) {
      found.text->reset();
    } else {
      *found.text = std::string(value);
    }
  });
}

}  // extern "C"
