// The package's own exceptions.
#pragma once

#include <pybind11/pybind11.h>

namespace python {

// xrdimage.FrameError, for the life of the process.
PyObject* frame_error();

}  // namespace python
