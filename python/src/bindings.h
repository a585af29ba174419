// The parts of the module, each defined in a source of its own for the sake of the compiler's time. The functions are
// what xrdimage/__init__.py and xrdimage/classic.py are made of; these check what Python's users pass.
#pragma once

#include <pybind11/pybind11.h>

namespace python {

void define_frames(pybind11::module_& module);
void define_files(pybind11::module_& module);
void define_streams(pybind11::module_& module);
void define_operations(pybind11::module_& module);

}  // namespace python
