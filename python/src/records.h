// The header's records as dictionaries, whose keys are the fields' names.
#pragma once

#include <pybind11/pybind11.h>

#include "xrdimage.h"

namespace python {

pybind11::dict dict_of(const ImageInfo& info);
pybind11::dict dict_of(const Mar345Header& header);

// Fields that the dictionary lacks are 0; TypeError for values that do not suit their field.
Mar345Header mar345_header_of(const pybind11::dict& fields);

}  // namespace python
