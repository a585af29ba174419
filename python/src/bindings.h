// The parts of the module, each in its own source to shorten the build. The functions are
// called by xrdimage/__init__.py and xrdimage/classic.py, which check the users' arguments.
#pragma once

#include <pybind11/pybind11.h>

namespace python {

void define_frames(pybind11::module_& module);
void define_files(pybind11::module_& module);
void define_streams(pybind11::module_& module);
void define_operations(pybind11::module_& module);

}  // namespace python
