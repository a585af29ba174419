// Loading and saving whole frames: the true counts.
#include <pybind11/stl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "arrays.h"
#include "bindings.h"
#include "errors.h"
#include "frames/failure.h"
#include "frames/formats.h"
#include "frames/header_values.h"
#include "frames/new_file.h"
#include "frames/synthetic_frame.h"
#include "library_call.h"
#include "support/printable.h"
#include "unlocked.h"

namespace python {

namespace {

// ------------------------------------------------------------------------------------------------------------------
// Headers, as dictionaries with the names that `xrdimage info --json` has
// ------------------------------------------------------------------------------------------------------------------

// None for values that a header lacks.
struct ToFields {
  py::dict& fields;

  void operator()(const char* name, const std::optional<double>& number) const { fields[name] = number; }
  void operator()(const char* name, const std::optional<std::string>& text) const {
    fields[name] = text ? py::object(text_of(*text)) : py::object(py::none());
  }
  void operator()(const char* x_name, const char* y_name, const std::optional<frames::Point>& point) const {
    fields[x_name] = point ? std::optional(point->x) : std::nullopt;
    fields[y_name] = point ? std::optional(point->y) : std::nullopt;
  }
};

struct FromFields {
  const py::dict& fields;

  template <typename Value>
  void operator()(const char* name, std::optional<Value>& value) const {
    try {
      value = fields[name].cast<std::optional<Value>>();
    } catch (const py::cast_error&) {
      throw py::type_error(std::string(name) + " of the header cannot have this value");
    }
  }
  void operator()(const char* x_name, const char* y_name, std::optional<frames::Point>& point) const {
    std::optional<double> x;
    std::optional<double> y;
    (*this)(x_name, x);
    (*this)(y_name, y);
    if (x && y) point = {*x, *y};
  }
};

// ------------------------------------------------------------------------------------------------------------------
// Loading
// ------------------------------------------------------------------------------------------------------------------

// The counts' memory belongs to the array from here on.
py::array counts_of(frames::Frame& frame) {
  auto counts = owning_image(frame.counts.release(), frame.width, frame.height);
  return frame.is_signed ? py::array(counts.attr("view")(py::dtype::of<std::int32_t>())) : py::array(counts);
}

py::array mask_of(const frames::Frame& frame) {
  const std::size_t pixels = static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(frame.height);
  auto mask = zeros<bool>(pixels);
  if (!frame.mask.empty()) {
    const Unlocked unlocked;
    std::ranges::transform(frame.mask, mask.get(), frames::has_no_count);
  }
  return owning_image(std::move(mask), frame.width, frame.height);
}

frames::LoadOptions options_of(const std::optional<std::string>& format, const std::optional<std::pair<int, int>>& size,
                               std::optional<int> depth, bool big_endian, std::size_t skip, bool force) {
  frames::LoadOptions options;
  if (format) {
    const frames::FileFormat* const stated = frames::find_format(*format);
    if (stated == nullptr || !stated->is_read()) {
      throw py::value_error("there is no format " + xrd::printable(*format));
    }
    options.format = stated->format;
  }
  if (size) options.size = {size->first, size->second};
  options.depth = depth;
  options.big_endian = big_endian;
  options.skip = skip;
  options.force = force;
  return options;
}

py::tuple load(const std::string& path, const std::optional<std::string>& format,
               const std::optional<std::pair<int, int>>& size, std::optional<int> depth, bool big_endian,
               std::size_t skip, bool force) {
  const frames::LoadOptions options = options_of(format, size, depth, big_endian, skip, force);
  frames::Frame frame;
  try {
    const Unlocked unlocked;
    frame = frames::load_frame(path, options);
  } catch (const frames::NoMemoryError&) {
    throw std::bad_alloc();
  } catch (const frames::LoadError& error) {
    raise_frame_error(error.what());
  }
  py::list notes;
  for (const std::string& note : frame.notes) notes.append(message_of(note));
  const py::array mask = mask_of(frame);
  py::dict header;
  frames::visit_header(frame.header, ToFields{header});
  return py::make_tuple(counts_of(frame), mask, header, frames::entry_of(frame.format).keyword, notes);
}

// ------------------------------------------------------------------------------------------------------------------
// Saving
// ------------------------------------------------------------------------------------------------------------------

const frames::FileFormat& written_format(const std::string& name) {
  const frames::FileFormat* const format = frames::find_format(name);
  if (format == nullptr || format->write == nullptr)
    throw py::value_error("there is no format " + xrd::printable(name));
  return *format;
}

// `write` gets a stream; the file gets its name when `write` has succeeded.
template <typename Write>
void write_new_file(const std::string& path, Write write) {
  std::optional<int> error;
  std::string failure;
  try {
    const Unlocked unlocked;
    // Python handles signals.
    frames::NewFile file(path);
    write(file.stream());
    file.commit();
    return;
  } catch (const frames::Failure& failed) {
    error = failed.error() == 0 ? EIO : failed.error();
  } catch (const std::system_error& failed) {
    error = failed.code().value();
  } catch (const std::runtime_error& refusal) {
    failure = refusal.what();
  }
  if (error) raise_os_error(*error, path);
  raise_frame_error(failure);
}

py::list save(const std::string& path, const Image& counts, bool is_signed, const std::optional<Array<bool>>& mask,
              const std::string& format, std::optional<int> bits, const py::dict& header) {
  const frames::FileFormat& file_format = written_format(format);
  const auto [width, height] = size_of(counts);
  const std::size_t pixels = pixels_of(width, height);
  if (pixels == 0) throw py::value_error("the frame has no pixels");
  frames::Frame frame;
  frame.width = width;
  frame.height = height;
  frame.is_signed = is_signed;
  frame.counts = frames::Counts(copy_of(counts), pixels);
  frames::visit_header(frame.header, FromFields{header});
  if (mask) {
    if (size_of(*mask).width != width || size_of(*mask).height != height) {
      throw py::value_error("the mask is not of the frame's size");
    }
    const bool* const first = mask->data();
    for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
      if (first[pixel]) frames::mask_pixel(frame, pixel, frames::kUnknown);
    }
  }
  frames::Remarks remarks;
  write_new_file(path, [&](std::FILE* stream) { file_format.write(frame, {.bits = bits}, stream, remarks); });
  py::list warnings;
  for (const std::string& warning : remarks.warnings) warnings.append(message_of(warning));
  return warnings;
}

void sample(const std::string& path, int size, std::uint64_t seed) {
  if (size < 64 || size > 4096) throw py::value_error("size must be from 64 to 4096");
  write_new_file(path,
                 [&](std::FILE* stream) { frames::write_mar345(frames::make_synthetic_frame(size, seed), stream); });
}

// Pictures are not frames.
std::vector<std::string> array_formats() {
  std::vector<std::string> keywords;
  for (const frames::FileFormat& format : frames::formats()) {
    if (format.write != nullptr) keywords.emplace_back(format.keyword);
  }
  return keywords;
}

// The endings of each of those, the usual one first.
py::dict written_endings() {
  py::dict endings;
  for (const frames::FileFormat& format : frames::formats()) {
    if (format.write != nullptr) endings[format.keyword] = py::str(std::string(format.endings)).attr("split")();
  }
  return endings;
}

PyObject* frame_error_class = nullptr;

}  // namespace

PyObject* frame_error() {
  return frame_error_class;
}

}  // namespace python

PYBIND11_MODULE(_core, module) {
  using namespace python;
  // A thread's first message would import it, and a process forked meanwhile would wait for the import for ever.
  py::module_::import("logging");
  frame_error_class = PyErr_NewExceptionWithDoc("xrdimage.FrameError",
                                                "A frame cannot be read, processed or written: what is wrong with it.",
                                                PyExc_ValueError, nullptr);
  if (frame_error_class == nullptr) throw py::error_already_set();
  module.attr("FrameError") = py::handle(frame_error_class);
  module.attr("version") = XRDIMAGE_VERSION;
  module.attr("readable_formats") = py::tuple(py::cast(frames::readable_formats()));
  module.attr("writable_formats") = py::tuple(py::cast(array_formats()));
  module.attr("written_endings") = written_endings();
  module.def("load", load);
  module.def("save", save, py::arg(), py::arg().noconvert(), py::arg(), py::arg().noconvert(), py::arg(), py::arg(),
             py::arg());
  module.def("sample", sample);
  module.def("printable", [](const py::bytes& text) { return message_of(text); });
  define_files(module);
  define_streams(module);
  define_operations(module);
}
