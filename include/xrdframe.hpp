// xrdframe.h for C++20: objects that own their content, spans, and exceptions instead of results.
//
//   const auto frame = xrdframe::Frame::load("a.mccd");
//   for (const std::uint32_t count : frame.counts<std::uint32_t>()) { ... }
//   frame.save("a.png", xrdframe::Options().set("scale", "log"));
//
// xrdframe.h says what each function does. A lack of memory is std::bad_alloc, any other failure an xrdframe::Error.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "xrdframe.h"

namespace xrdframe {

// Why a call failed; the message is its line of detail.
class Error : public std::runtime_error {
 public:
  Error(xrd_result result, const char* detail) : std::runtime_error(detail), result_(result) {}

  xrd_result result() const noexcept { return result_; }

 private:
  xrd_result result_;
};

namespace detail {

// Calls function(arguments..., detail), and throws if it fails.
template <typename Function, typename... Arguments>
void call(Function function, Arguments... arguments) {
  std::array<char, XRD_DETAIL> detail{};
  const xrd_result result = function(arguments..., detail.data());
  if (result == XRD_NO_MEMORY) throw std::bad_alloc();
  if (result != XRD_OK) throw Error(result, detail.data());
}

template <auto release>
struct Releaser {
  template <typename Object>
  void operator()(Object* object) const noexcept {
    release(object);
  }
};

inline std::vector<std::string> texts_of(const xrd_lines* lines) {
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < xrd_lines_count(lines); ++i) texts.emplace_back(xrd_lines_text(lines, i));
  return texts;
}

// Receives a list of lines, and frees it.
class Warnings {
 public:
  ~Warnings() { xrd_lines_free(lines_); }
  Warnings() = default;
  Warnings(const Warnings&) = delete;
  Warnings& operator=(const Warnings&) = delete;

  xrd_lines** place() noexcept { return &lines_; }
  std::vector<std::string> texts() const { return texts_of(lines_); }

 private:
  xrd_lines* lines_ = nullptr;
};

}  // namespace detail

// Options by name. An object without options allocates nothing.
class Options {
 public:
  // set("force"), set("size", "2048x2048"). Calls can be chained.
  Options& set(const std::string& name) { return set_text(name, nullptr); }
  Options& set(const std::string& name, const std::string& value) { return set_text(name, value.c_str()); }

  // For functions of xrdframe.h.
  const xrd_options* get() const noexcept { return options_.get(); }

 private:
  Options& set_text(const std::string& name, const char* value) {
    if (!options_) options_.reset(xrd_options_new());
    if (!options_) throw std::bad_alloc();
    detail::call(xrd_options_set, options_.get(), name.c_str(), value);
    return *this;
  }

  std::unique_ptr<xrd_options, detail::Releaser<xrd_options_free>> options_;
};

struct Format {
  std::string_view keyword;
  std::string_view name;
  std::string_view endings;  // separated by blanks, the usual one first
  int abilities = 0;         // bits of XRD_CAN_READ and so on
};

inline std::vector<Format> formats() {
  std::vector<Format> list;
  for (std::size_t i = 0; i < xrd_format_count(); ++i) {
    list.push_back({xrd_format_keyword(i), xrd_format_name(i), xrd_format_endings(i), xrd_format_abilities(i)});
  }
  return list;
}

// The keyword of the format.
inline std::string_view detect(const std::string& path) {
  const char* keyword = nullptr;
  detail::call(xrd_detect, path.c_str(), &keyword);
  return keyword;
}
inline std::string_view detect(std::span<const std::byte> bytes, const std::string& name = {}) {
  const char* keyword = nullptr;
  detail::call(xrd_detect_memory, bytes.data(), bytes.size(), name.c_str(), &keyword);
  return keyword;
}

// The bytes of a file that was saved to memory.
class FileBytes {
 public:
  FileBytes(void* bytes, std::size_t size) noexcept : bytes_(static_cast<std::byte*>(bytes)), size_(size) {}

  const std::byte* data() const noexcept { return bytes_.get(); }
  std::size_t size() const noexcept { return size_; }
  const std::byte* begin() const noexcept { return data(); }
  const std::byte* end() const noexcept { return data() + size_; }

 private:
  std::unique_ptr<std::byte, detail::Releaser<std::free>> bytes_;
  std::size_t size_;
};

struct HeaderItem {
  std::string_view name;
  std::string_view text;
};

template <typename Type>
concept Count = std::same_as<Type, std::uint32_t> || std::same_as<Type, std::int32_t>;

// Owns a frame; can be moved, and copied with copy(). Its spans and views are valid until it is changed or destroyed.
class Frame {
 public:
  // Takes over a frame of xrdframe.h.
  explicit Frame(xrd_frame* frame) noexcept : frame_(frame) {}

  static Frame load(const std::string& path, const Options& options = {}) {
    return made_by(xrd_load, path.c_str(), options.get());
  }
  static Frame load(std::span<const std::byte> bytes, const std::string& name = {}, const Options& options = {}) {
    return made_by(xrd_load_memory, bytes.data(), bytes.size(), name.c_str(), options.get());
  }
  static Frame load_header(const std::string& path, const Options& options = {}) {
    return made_by(xrd_load_header, path.c_str(), options.get());
  }
  static Frame load_header(std::span<const std::byte> bytes, const std::string& name = {},
                           const Options& options = {}) {
    return made_by(xrd_load_header_memory, bytes.data(), bytes.size(), name.c_str(), options.get());
  }
  // Copies the counts. The mask is empty or has one byte per count.
  static Frame create(int width, int height, std::span<const std::uint32_t> counts,
                      std::span<const unsigned char> mask = {}) {
    return create(width, height, XRD_UINT32, counts, mask);
  }
  static Frame create(int width, int height, std::span<const std::int32_t> counts,
                      std::span<const unsigned char> mask = {}) {
    return create(width, height, XRD_INT32, counts, mask);
  }
  Frame copy() const { return made_by(xrd_copy, get()); }

  xrd_frame* get() noexcept { return frame_.get(); }
  const xrd_frame* get() const noexcept { return frame_.get(); }

  int width() const noexcept { return xrd_width(get()); }
  int height() const noexcept { return xrd_height(get()); }
  xrd_sample sample() const noexcept { return xrd_sample_of(get()); }
  std::string_view format() const noexcept { return xrd_format_of(get()); }
  std::size_t images() const noexcept { return xrd_images(get()); }

  // Empty if there are no counts. An Error if they are of the other kind.
  template <Count Type>
  std::span<const Type> counts() const {
    if (sample() != (std::is_signed_v<Type> ? XRD_INT32 : XRD_UINT32)) {
      throw Error(XRD_INVALID, "has counts of the other kind");
    }
    return {static_cast<const Type*>(xrd_counts(get())), xrd_counts(get()) == nullptr ? 0 : pixels()};
  }
  // Empty if no pixel is masked.
  std::span<const unsigned char> mask() const noexcept {
    return {xrd_mask(get()), xrd_mask(get()) == nullptr ? 0 : pixels()};
  }

  std::vector<std::string> notes() const { return detail::texts_of(xrd_notes(get())); }
  std::optional<double> number(const std::string& name) const {
    double value = 0;
    return xrd_number(get(), name.c_str(), &value) != 0 ? std::optional(value) : std::nullopt;
  }
  std::optional<std::string_view> text(const std::string& name) const {
    const char* const value = xrd_text(get(), name.c_str());
    return value != nullptr ? std::optional<std::string_view>(value) : std::nullopt;
  }
  Frame& set(const std::string& name, double value) { return change(xrd_set_number, name.c_str(), &value); }
  Frame& set(const std::string& name, const std::string& value) {
    return change(xrd_set_text, name.c_str(), value.c_str());
  }
  std::vector<HeaderItem> items() const {
    std::vector<HeaderItem> list(xrd_item_count(get()));
    for (std::size_t i = 0; i < list.size(); ++i) list[i] = {xrd_item_name(get(), i), xrd_item_text(get(), i)};
    return list;
  }
  xrd_statistics statistics() const {
    xrd_statistics statistics{};
    detail::call(xrd_statistics_of, get(), &statistics);
    return statistics;
  }

  // Operations change the frame; calls can be chained.
  Frame& crop(int x, int y, int width, int height) { return change(xrd_crop, x, y, width, height); }
  Frame& bin(int factor) { return change(xrd_bin, factor); }
  Frame& fit(int width, int height) { return change(xrd_fit, width, height); }
  Frame& rotate(int quarters = 1) { return change(xrd_rotate, quarters); }
  Frame& flip_horizontally() { return change(xrd_flip, 0); }
  Frame& flip_vertically() { return change(xrd_flip, 1); }
  Frame& smooth(double sigma_x, double sigma_y) { return change(xrd_smooth, sigma_x, sigma_y); }
  Frame& apply(const std::string& operation) { return change(xrd_apply, operation.c_str(), nullptr); }
  Frame& apply(const std::string& operation, const std::string& value) {
    return change(xrd_apply, operation.c_str(), value.c_str());
  }

  // Returns the warnings.
  std::vector<std::string> save(const std::string& path, const Options& options = {}) const {
    detail::Warnings warnings;
    detail::call(xrd_save, get(), path.c_str(), options.get(), warnings.place());
    return warnings.texts();
  }
  FileBytes save_to_memory(const std::string& format, const Options& options = {},
                           std::vector<std::string>* warnings = nullptr) const {
    detail::Warnings lines;
    void* bytes = nullptr;
    std::size_t size = 0;
    detail::call(xrd_save_memory, get(), format.c_str(), options.get(), &bytes, &size, lines.place());
    FileBytes file(bytes, size);
    if (warnings != nullptr) *warnings = lines.texts();
    return file;
  }

 private:
  template <typename Function, typename... Arguments>
  static Frame made_by(Function function, Arguments... arguments) {
    xrd_frame* frame = nullptr;
    detail::call(function, arguments..., &frame);
    return Frame(frame);
  }

  template <typename Type>
  static Frame create(int width, int height, xrd_sample sample, std::span<const Type> counts,
                      std::span<const unsigned char> mask) {
    const auto pixels = width < 0 || height < 0 ? 0 : std::uint64_t(width) * std::uint64_t(height);
    if (counts.size() != pixels || (!mask.empty() && mask.size() != pixels)) {
      throw Error(XRD_INVALID, "needs one count per pixel, and a mask of one byte per pixel or none");
    }
    return made_by(xrd_create, width, height, sample, static_cast<const void*>(counts.data()),
                   mask.empty() ? nullptr : mask.data());
  }

  template <typename Function, typename... Arguments>
  Frame& change(Function function, Arguments... arguments) {
    detail::call(function, get(), arguments...);
    return *this;
  }

  std::size_t pixels() const noexcept { return std::size_t(width()) * std::size_t(height()); }

  std::unique_ptr<xrd_frame, detail::Releaser<xrd_free>> frame_;
};

}  // namespace xrdframe
