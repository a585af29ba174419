#include "library_call.h"

#include <tiffio.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "errors.h"
#include "support/assertion.h"
#include "support/printable.h"

namespace python {

namespace {

thread_local LibraryCall* current_call = nullptr;

// The call that gathers what is printed to the stream; null for files, and outside of calls.
LibraryCall* gathering(std::FILE* stream) {
  return stream == stdout || stream == stderr ? current_call : nullptr;
}

}  // namespace

LibraryCall::LibraryCall(std::optional<xrd::DetectorSize> size) : answer(size), outer_(current_call) {
  current_call = this;
}

LibraryCall::~LibraryCall() {
  current_call = outer_;
  for (std::FILE* stream : open) std::fclose(stream);
}

LibraryCall* LibraryCall::current() {
  return current_call;
}

void raise_os_error(int error, const std::string& path) {
  const auto name = py::reinterpret_steal<py::object>(
      PyUnicode_DecodeFSDefaultAndSize(path.data(), static_cast<py::ssize_t>(path.size())));
  if (!name) throw py::error_already_set();
  errno = error;
  PyErr_SetFromErrnoWithFilenameObject(PyExc_OSError, name.ptr());
  throw py::error_already_set();
}

void raise_frame_error(const std::string& text) {
  PyErr_SetObject(frame_error(), message_of(text).ptr());
  throw py::error_already_set();
}

py::str text_of(const std::string& utf8) {
  auto text = py::reinterpret_steal<py::str>(
      PyUnicode_DecodeUTF8(utf8.data(), static_cast<py::ssize_t>(utf8.size()), "replace"));
  if (!text) throw py::error_already_set();
  return text;
}

py::str message_of(const std::string& text) {
  return text_of(xrd::printable(text));
}

namespace {

// The result of Python code, which lets other threads run.
template <typename Call>
py::object result_of(Call call) {
  auto result = py::reinterpret_steal<py::object>(unless_python_ends(call));
  if (!result) throw py::error_already_set();
  return result;
}

void log(const char* level, const std::string& message) {
  const py::str text = message_of(message);
  const py::str name("logging");
  const py::object logging = result_of([&] {
    // Imports have a lock that is not free in forked processes.
    PyObject* const module = PyImport_GetModule(name.ptr());
    return module != nullptr || PyErr_Occurred() != nullptr ? module : PyImport_Import(name.ptr());
  });
  const py::object logger = result_of([&] { return PyObject_CallMethod(logging.ptr(), "getLogger", "s", "xrdimage"); });
  result_of([&] { return PyObject_CallMethod(logger.ptr(), level, "sO", "%s", text.ptr()); });
}

}  // namespace

void log_lines(const std::vector<std::string>& lines) {
  for (const std::string& line : lines) {
    const bool is_warning = line.find("WARNING") != std::string::npos || line.find("ERROR") != std::string::npos;
    if (!line.empty()) log(is_warning ? "warning" : "info", line);
  }
}

void finish_call(const CallOutcome& outcome, const CallOptions& options) {
  for (const std::string& message : outcome.tiff_messages) log("warning", message);
  if (outcome.open_error != 0 && options.path != nullptr) raise_os_error(outcome.open_error, *options.path);
  const std::vector<std::string>& errors = outcome.report.errors;
  if (!errors.empty() && !options.errors_are_results) {
    std::string text = errors[0];
    for (std::size_t i = 1; i < errors.size(); ++i) text += "; " + errors[i];
    raise_frame_error(text);
  }
  log_lines(outcome.report.lines);
}

}  // namespace python

// ------------------------------------------------------------------------------------------------------------------
// What takes the place of the library's own functions
// ------------------------------------------------------------------------------------------------------------------

namespace xrd {

// The caller has answered before, or has not cared to.
DetectorSize ask_detector_size(DetectorSize by_default) {
  const python::LibraryCall* const call = python::current_call;
  return call != nullptr && call->answer ? *call->answer : by_default;
}

// A lack of memory must not end Python: the library holds what it owns in objects, so that an exception may pass.
void fail_assertion(const char* /*expression*/, const char* /*source*/, unsigned /*line*/, const char* /*function*/) {
  throw std::bad_alloc();
}

}  // namespace xrd

// ------------------------------------------------------------------------------------------------------------------
// What takes the place of the standard library's, by the linker's option --wrap. With _FORTIFY_SOURCE, compilers call
// functions with names in _chk.
// ------------------------------------------------------------------------------------------------------------------

using python::LibraryCall;

extern "C" {

std::size_t __real_fwrite(const void* data, std::size_t size, std::size_t count, std::FILE* stream);
std::FILE* __real_fopen(const char* path, const char* mode);
std::FILE* __real_fopen64(const char* path, const char* mode);
int __real_fclose(std::FILE* stream);

std::size_t __wrap_fwrite(const void* data, std::size_t size, std::size_t count, std::FILE* stream) {
  LibraryCall* const call = python::gathering(stream);
  if (call == nullptr) return __real_fwrite(data, size, count, stream);
  call->printed.append(static_cast<const char*>(data), size * count);
  return count;
}

static int print(std::FILE* stream, const char* format, std::va_list values) {
  if (python::gathering(stream) == nullptr) return std::vfprintf(stream, format, values);
  std::va_list again;
  va_copy(again, values);
  const int length = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  if (length < 0) return length;
  std::string text(static_cast<std::size_t>(length) + 1, '\0');
  std::vsnprintf(text.data(), text.size(), format, values);
  __wrap_fwrite(text.data(), 1, static_cast<std::size_t>(length), stream);
  return length;
}

int __wrap_printf(const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  const int length = print(stdout, format, values);
  va_end(values);
  return length;
}

int __wrap___printf_chk(int /*flag*/, const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  const int length = print(stdout, format, values);
  va_end(values);
  return length;
}

int __wrap_fprintf(std::FILE* stream, const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  const int length = print(stream, format, values);
  va_end(values);
  return length;
}

int __wrap___fprintf_chk(std::FILE* stream, int /*flag*/, const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  const int length = print(stream, format, values);
  va_end(values);
  return length;
}

int __wrap_fputs(const char* text, std::FILE* stream) {
  const std::size_t length = std::strlen(text);
  return __wrap_fwrite(text, 1, length, stream) == length ? 1 : EOF;
}

int __wrap_puts(const char* text) {
  return __wrap_fputs(text, stdout) == EOF ? EOF : __wrap_fputs("\n", stdout);
}

int __wrap_fputc(int letter, std::FILE* stream) {
  const auto byte = static_cast<unsigned char>(letter);
  return __wrap_fwrite(&byte, 1, 1, stream) == 1 ? byte : EOF;
}

int __wrap_putchar(int letter) {
  return __wrap_fputc(letter, stdout);
}

static std::FILE* opened(std::FILE* stream) {
  LibraryCall* const call = python::current_call;
  if (call == nullptr) return stream;
  if (stream == nullptr) {
    call->open_error = errno;
  } else {
    call->open.push_back(stream);
  }
  return stream;
}

std::FILE* __wrap_fopen(const char* path, const char* mode) {
  return opened(__real_fopen(path, mode));
}

#if !defined(__LP64__)
std::FILE* __wrap_fopen64(const char* path, const char* mode) {
  return opened(__real_fopen64(path, mode));
}
#endif

int __wrap_fclose(std::FILE* stream) {
  if (LibraryCall* const call = python::current_call; call != nullptr) {
    std::erase(call->open, stream);
    call->closed = stream;
  }
  return __real_fclose(stream);
}

// libtiff's handlers are the process', in which others use libtiff, too: those of this module's files take their place.
static int gather_tiff_message(tiff* /*image*/, void* /*user_data*/, const char* module, const char* format,
                               std::va_list values) {
  std::array<char, 500> text{};
  std::vsnprintf(text.data(), text.size(), format, values);
  constexpr std::size_t kMost = 100;  // a damaged file may have one for each of a million strips
  constexpr int kIsDealtWith = 1;
  LibraryCall* const call = python::current_call;
  if (call == nullptr || call->tiff_messages.size() > kMost) return kIsDealtWith;
  const bool is_last = call->tiff_messages.size() == kMost;
  call->tiff_messages.push_back(is_last ? "libtiff: more of these are left out"
                                        : std::string(module == nullptr ? "libtiff" : module) + ": " + text.data());
  return kIsDealtWith;
}

static int gather_tiff_warning(tiff* image, void* user_data, const char* module, const char* format,
                               std::va_list values) {
  const LibraryCall* const call = python::current_call;
  if (call == nullptr || !call->has_tiff_warnings) return 1;
  return gather_tiff_message(image, user_data, module, format, values);
}

tiff* __wrap_TIFFOpen(const char* path, const char* mode) {
  const std::unique_ptr<TIFFOpenOptions, decltype(&TIFFOpenOptionsFree)> options(TIFFOpenOptionsAlloc(),
                                                                                 TIFFOpenOptionsFree);
  if (!options) return nullptr;
  TIFFOpenOptionsSetErrorHandlerExtR(options.get(), gather_tiff_message, nullptr);
  TIFFOpenOptionsSetWarningHandlerExtR(options.get(), gather_tiff_warning, nullptr);
  return TIFFOpenExt(path, mode, options.get());
}

// Where the library wants no warnings for the rest of the process, there are none for the rest of the call.
TIFFErrorHandler __wrap_TIFFSetWarningHandler(TIFFErrorHandler handler) {
  if (python::current_call != nullptr) python::current_call->has_tiff_warnings = handler != nullptr;
  return nullptr;
}

}  // extern "C"
