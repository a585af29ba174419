#include "library_call.h"

#include <cerrno>
#include <cstdio>
#include <new>

#include "errors.h"
#include "support/printable.h"

namespace python {

namespace {

// A damaged file may have a message for each of a million strips.
constexpr std::size_t kMostTiffMessages = 100;

}  // namespace

LibraryCall::~LibraryCall() {
  for (std::FILE* stream : left_open) std::fclose(stream);
}

bool LibraryCall::ask(std::string_view /*question*/, std::span<char> answer) {
  if (!answer_) return false;
  std::snprintf(answer.data(), answer.size(), "%d %d", answer_->width, answer_->height);
  return true;
}

void LibraryCall::hear_libtiff(const char* module, const char* text) {
  if (tiff_messages.size() > kMostTiffMessages) return;
  const bool is_last = tiff_messages.size() == kMostTiffMessages;
  tiff_messages.push_back(is_last ? "libtiff: more of these are left out"
                                  : std::string(module == nullptr ? "libtiff" : module) + ": " + text);
}

// A lack of memory must not end Python: the library holds what it owns in objects, so that an exception may pass.
void LibraryCall::fail_assertion() {
  throw std::bad_alloc();
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
