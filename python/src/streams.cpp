// Functions that read from or write to files which Python has opened.
#include "streams.h"

#include <fcntl.h>
#include <pybind11/stl.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <limits>
#include <optional>
#include <string>
#include <utility>

#include "arrays.h"
#include "bindings.h"
#include "library_call.h"
#include "xrdimage.h"

namespace python {

namespace {

[[noreturn]] void raise_errno() {
  if (errno == 0) errno = EIO;
  PyErr_SetFromErrno(PyExc_OSError);
  throw py::error_already_set();
}

// The mode that suits the descriptor: a stream in another mode cannot be made.
const char* mode_of(int descriptor) {
  switch (fcntl(descriptor, F_GETFL) & O_ACCMODE) {
    case O_WRONLY:
      return "wb";
    case O_RDWR:
      return "r+b";
    default:
      return "rb";
  }
}

}  // namespace

Stream::Stream(int descriptor, const char* mode) : descriptor_(descriptor) {
  if (descriptor < 0) return;
  const int copy = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
  if (copy < 0) raise_errno();
  stream_ = fdopen(copy, mode);
  if (stream_ == nullptr) {
    const int error = errno;
    close(copy);
    errno = error;
    raise_errno();
  }
  // What is read ahead from a pipe would be lost with the stream.
  if (lseek(descriptor, 0, SEEK_CUR) < 0) std::setvbuf(stream_, nullptr, _IONBF, 0);
}

Stream::~Stream() {
  if (stream_ == nullptr) return;
  const off_t position = ftello(stream_);
  std::fclose(stream_);
  if (position >= 0) lseek(descriptor_, position, SEEK_SET);
}

void Stream::finish() {
  if (std::fflush(stream_) != 0 || std::ferror(stream_) != 0) raise_errno();
}

namespace {

// A number that no header states, for missing values.
constexpr int kAbsent = std::numeric_limits<int>::min();

py::object present(int number) {
  return number == kAbsent ? py::object(py::none()) : py::object(py::int_(number));
}

py::tuple edf_header(int descriptor, int bits) {
  int width = kAbsent;
  int height = kAbsent;
  Stream stream(descriptor, "rb");
  call_library({}, [&] { read_edf_header(stream, &width, &height, &bits); });
  return py::make_tuple(present(width), present(height), bits == -1 ? present(kAbsent) : present(bits));
}

py::tuple saint_header(int descriptor) {
  int columns = kAbsent;
  int rows = kAbsent;
  Stream stream(descriptor, "rb");
  call_library({}, [&] { read_saint_header(stream, &columns, &rows); });
  return py::make_tuple(present(columns), present(rows));
}

py::array unpack(int descriptor, int width, int height) {
  auto image = zeros<short>(pixels_of(width, height));
  Stream stream(descriptor, "rb");
  call_library({}, [&] { unpack_word(stream, width, height, image.get()); });
  return owning_image(std::move(image), width, height);
}

void pack_image(const SignedImage& image, int descriptor) {
  const auto [width, height] = size_of(image);
  Stream stream(descriptor, "wb");
  auto* const pixels = const_cast<short*>(image.data());  // which are only read
  call_library({}, [&, width = width, height = height] { pack_wordimage_c(pixels, width, height, stream); });
  stream.finish();
}

void append_chunk(const std::optional<Array<std::int32_t>>& differences, int bits, int descriptor) {
  Stream stream(descriptor, "wb");
  if (!differences) {
    call_library({}, [&] { pack_chunk(nullptr, 0, 0, stream); });
  } else {
    const int count = count_of(*differences);
    if (count < 1 || count > 128) throw py::value_error("a chunk has 1 to 128 differences");
    if (bits < 0 || bits > 32) throw py::value_error("a difference has 0 to 32 bits");
    auto* const values = const_cast<std::int32_t*>(differences->data());  // which are only read
    call_library({}, [&] { pack_chunk(values, count, bits, stream); });
  }
  stream.finish();
}

py::tuple mar345_head(int descriptor) {
  int new_layout = 0;
  int size = 0;
  int swapped = 0;
  int overflow_count = 0;
  int status = 0;
  Stream stream(descriptor, "rb");
  call_library({}, [&] { status = gethead(&new_layout, stream, &size, &swapped, &overflow_count); });
  if (status != 0) raise_frame_error("the overflow records of the header cannot be reached");
  return py::make_tuple(new_layout != 0, size, swapped != 0, overflow_count);
}

py::tuple merged_image(const std::string& path, int descriptor, int width, int height, bool new_layout,
                       int overflow_count, bool swapped, int limit) {
  auto image = zeros<int>(pixels_of(width, height));
  std::array<int, 2> record{};
  Stream stream(descriptor, "rb");
  call_library({.path = &path}, [&] {
    int_getpck(image.get(), record.data(), 0, 0, path.c_str(), new_layout ? 1 : 0, stream, width, height,
               overflow_count, swapped ? 1 : 0, limit);
  });
  return py::make_tuple(owning_image(std::move(image), width, height), py::make_tuple(record[0], record[1]));
}

py::array correction_values(int descriptor) {
  constexpr std::size_t kValues = 1187;
  auto values = zeros<std::int32_t>(kValues);
  Stream stream(descriptor, "rb");
  call_library({}, [&] { getcorr(values.get(), stream); });
  return owning(std::move(values), {kValues});
}

py::array modulation_values(int descriptor, int x, int y) {
  auto values = zeros<std::int32_t>(pixels_of(x, y));
  Stream stream(descriptor, "rb");
  call_library({}, [&] { getmod(values.get(), stream, x, y); });
  return owning_image(std::move(values), x, y);
}

// Which of the three was closed; -1 when it was none.
int close_selected(const std::string& name, const std::array<int, 3>& descriptors) {
  Stream modpix(descriptors[0], mode_of(descriptors[0]));
  Stream bkgpix(descriptors[1], mode_of(descriptors[1]));
  Stream other(descriptors[2], mode_of(descriptors[2]));
  LibraryCall call;
  const int status = fileclose(name.c_str(), modpix, bkgpix, other);
  int index = 0;
  for (Stream* stream : {&modpix, &bkgpix, &other}) {
    if (call.closed != nullptr && *stream == call.closed) {
      stream->forget();
      if (status != 0) raise_errno();
      return index;
    }
    ++index;
  }
  return -1;
}

void rewind_selected(const std::string& name, const std::array<int, 3>& descriptors) {
  const Stream modpix(descriptors[0], mode_of(descriptors[0]));
  const Stream bkgpix(descriptors[1], mode_of(descriptors[1]));
  const Stream other(descriptors[2], mode_of(descriptors[2]));
  filerewind(name.c_str(), modpix, bkgpix, other);
}

}  // namespace

void define_streams(py::module_& module) {
  module.def("read_edf_header", edf_header);
  module.def("read_saint_header", saint_header);
  module.def("unpack_word", unpack);
  module.def("pack_wordimage_c", pack_image, py::arg().noconvert(), py::arg());
  module.def("pack_chunk", append_chunk, py::arg().noconvert(), py::arg(), py::arg());
  module.def("gethead", mar345_head);
  module.def("int_getpck", merged_image);
  module.def("getcorr", correction_values);
  module.def("getmod", modulation_values);
  module.def("fileclose", close_selected);
  module.def("filerewind", rewind_selected);
}

}  // namespace python
