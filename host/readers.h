// The readers of the single formats; see frame.h.
#pragma once

#include "host/frame.h"

namespace host {

Frame read_mar345(const ReadRequest& request);
Frame read_raw_image(const ReadRequest& request);

}  // namespace host
