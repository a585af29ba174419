// Functions that open files by their names.
#include <pybind11/stl.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <utility>

#include "arrays.h"
#include "bindings.h"
#include "library_call.h"
#include "pack/decoder.h"
#include "records.h"
#include "xrdimage.h"

namespace python {

namespace {

using Size = std::optional<std::array<int, 2>>;  // width and height

std::optional<xrd::DetectorSize> answer_of(const Size& size) {
  if (!size) return std::nullopt;
  return xrd::DetectorSize{(*size)[0], (*size)[1]};
}

// The result of a reader. It is freed if nobody takes it, as when Python's logging raises.
struct NewImage {
  unsigned int* daten = nullptr;
  int width = 0;
  int height = 0;

  NewImage() = default;
  NewImage(const NewImage&) = delete;
  NewImage& operator=(const NewImage&) = delete;
  ~NewImage() { std::free(daten); }

  py::array take() {
    xrd::MallocArray<unsigned int> pixels(std::exchange(daten, nullptr));
    if (!pixels) raise_frame_error("the frame cannot be read");
    return owning_image(std::move(pixels), width, height);
  }
};

// ------------------------------------------------------------------------------------------------------------------
// Readers
// ------------------------------------------------------------------------------------------------------------------

int image_type(const std::string& path) {
  int type = 0;
  call_library({.errors_are_results = true}, [&] { type = get_image_type(path.c_str()); });
  return type;
}

py::array raw(const std::string& path, const Size& size) {
  NewImage image;
  call_library({.path = &path, .answer = answer_of(size)},
               [&] { read_raw(path.c_str(), &image.daten, &image.width, &image.height); });
  return image.take();
}

py::tuple bnl(const std::string& path, const Size& size) {
  NewImage image;
  if (size) {
    image.width = (*size)[0];
    image.height = (*size)[1];
  }
  std::array<double, 5> values{};
  call_library({.path = &path}, [&] {
    read_bnl(path.c_str(), 0, &image.daten, &image.width, &image.height, &values[0], &values[1], &values[2], &values[3],
             &values[4]);
  });
  return py::make_tuple(image.take(), values[0], values[1], values[2], values[3], values[4]);
}

py::tuple edf(const std::string& path, int bits, const Size& size) {
  NewImage image;
  call_library({.path = &path, .answer = answer_of(size)},
               [&] { read_edf(path.c_str(), &image.daten, &bits, &image.width, &image.height); });
  return py::make_tuple(image.take(), bits);
}

py::array saint(const std::string& path, const Size& size) {
  NewImage image;
  if (size) {
    image.width = (*size)[0];
    image.height = (*size)[1];
  }
  call_library({.path = &path}, [&] { read_saint(path.c_str(), &image.daten, &image.width, &image.height); });
  return image.take();
}

py::array tiff(const std::string& path) {
  NewImage image;
  call_library({.path = &path}, [&] { read_tiff(path.c_str(), &image.daten, 0, &image.width, &image.height); });
  return image.take();
}

py::dict mar_ccd_header(const std::string& path) {
  ImageInfo info{};
  int read = 0;
  call_library({.path = &path}, [&] { read = read_mar_ccd_header(path.c_str(), &info); });
  if (read == 0) raise_frame_error("the MarCCD header is incomplete");
  return dict_of(info);
}

py::tuple mar_ccd(const std::string& path, double distance) {
  ImageData data{};
  NewImage image;
  int read = 0;
  call_library({.path = &path}, [&] {
    read = read_mar_ccd(path.c_str(), &data, &distance);
    image.daten = data.Daten;
  });
  if (read == 0) raise_frame_error("the MarCCD header is incomplete");
  image.width = data.width;
  image.height = data.height;
  return py::make_tuple(image.take(), data.overflows, distance);
}

// Of readpack_word_c and readpck, which write as many values as the file states. They do what this does, but without
// the bound that keeps a file which changes meanwhile from being dangerous.
py::array packed_image(const std::string& path) {
  std::optional<xrd::PackedSize> size;
  const CallOptions options{.path = &path};
  call_library(options, [&] { size = xrd::packed_file_size(path.c_str()); });
  const int width = size->width;
  const int height = size->height;
  const std::size_t pixels = pixels_of(width, height);
  auto image = zeros<short>(pixels);
  call_library(options, [&] { xrd::unpack_file(path.c_str(), {image.get(), pixels}); });
  return owning_image(std::move(image), width, height);
}

py::array pck(const std::string& path) {
  NewImage image;
  call_library({.path = &path}, [&] { read_pck(path.c_str(), &image.daten, &image.width, &image.height); });
  return image.take();
}

py::array mar345(const std::string& path) {
  NewImage image;
  call_library({.path = &path}, [&] { new_read_pck(path.c_str(), &image.daten, &image.width, &image.height); });
  return image.take();
}

py::tuple mar345_text_header(const std::string& path, const py::dict& fields) {
  Mar345Header header = mar345_header_of(fields);
  int phi_values = 0;
  call_library({.path = &path}, [&] { phi_values = read_marheader(&header, path.c_str()); });
  return py::make_tuple(dict_of(header), phi_values);
}

py::str printed_header(const py::dict& fields) {
  const Mar345Header header = mar345_header_of(fields);
  std::string text;
  for (const std::string& line : run_call({}, [&] { print_marheader(&header); }).report.lines) text += line + "\n";
  return text_of(text);
}

py::dict mar345_info(const std::string& path) {
  ImageInfo info{};
  call_library({.path = &path}, [&] { read_mar_header(path.c_str(), &info); });
  return dict_of(info);
}

// ------------------------------------------------------------------------------------------------------------------
// Writers
// ------------------------------------------------------------------------------------------------------------------

template <void (*write)(const char*, const unsigned int*, int, int)>
void write_edf(const std::string& path, const Image& image) {
  const auto [width, height] = size_of(image);
  const unsigned int* const pixels = image.data();
  call_library({.path = &path}, [&, width = width, height = height] { write(path.c_str(), pixels, width, height); });
}

void packed_file(const std::string& path, const SignedImage& image, const std::string& host_fields) {
  const auto [width, height] = size_of(image);
  PackedFileHeader header{};
  if (host_fields.size() > sizeof header.host_fields) throw py::value_error("host_fields must have at most 2392 bytes");
  header.width = width;
  header.height = height;
  std::memcpy(header.host_fields, host_fields.data(), host_fields.size());
  auto* const pixels = const_cast<short*>(image.data());  // which are only read
  call_library({.path = &path}, [&] { tomar(path.c_str(), pixels, 0, header); });
}

void colormap(const std::string& path) {
  call_library({.path = &path}, [&] { write_colormap(path.c_str()); });
}

void raw_dump(const std::string& path, const Image& image) {
  const int count = count_of(image);
  auto* const pixels = const_cast<unsigned int*>(image.data());  // which are only read
  call_library({.path = &path}, [&] { write_zimg(path.c_str(), pixels, count); });
}

void short_raw_dump(const std::string& path, const ShortImage& image) {
  const int count = count_of(image);
  auto* const pixels = const_cast<unsigned short*>(image.data());  // which are only read
  call_library({.path = &path}, [&] { write_short_zimg(path.c_str(), pixels, count); });
}

int show(const std::string& name, const Image& image, int divisor) {
  const auto [width, height] = size_of(image);
  auto* const pixels = const_cast<unsigned int*>(image.data());  // which are only read
  const std::string dump = name + ".raw";
  int status = 0;
  call_library({.path = &dump},
               [&, width = width, height = height] { status = view(name.c_str(), pixels, width, height, divisor); });
  return status;
}

int delete_temporary() {
  int status = 0;
  call_library({}, [&] { status = filedelete(); });
  return status;
}

}  // namespace

void define_files(py::module_& module) {
  module.def("get_image_type", image_type);
  module.def("read_raw", raw);
  module.def("read_bnl", bnl);
  module.def("read_edf", edf);
  module.def("read_saint", saint);
  module.def("read_tiff", tiff);
  module.def("read_mar_ccd_header", mar_ccd_header);
  module.def("read_mar_ccd", mar_ccd);
  module.def("packed_image", packed_image);
  module.def("read_pck", pck);
  module.def("new_read_pck", mar345);
  module.def("read_marheader", mar345_text_header);
  module.def("print_marheader", printed_header);
  module.def("read_mar_header", mar345_info);
  module.def("edf16_write", write_edf<edf16_write>, py::arg(), py::arg().noconvert());
  module.def("edf32_write", write_edf<edf32_write>, py::arg(), py::arg().noconvert());
  module.def("tomar", packed_file, py::arg(), py::arg().noconvert(), py::arg());
  module.def("write_colormap", colormap);
  module.def("write_zimg", raw_dump, py::arg(), py::arg().noconvert());
  module.def("write_short_zimg", short_raw_dump, py::arg(), py::arg().noconvert());
  module.def("view", show, py::arg(), py::arg().noconvert(), py::arg());
  module.def("filedelete", delete_temporary);
}

}  // namespace python
