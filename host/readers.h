// The readers of the single formats; see frame.h.
#pragma once

#include "host/frame.h"

namespace host {

Frame read_ccd_frame(const ReadRequest& request);
Frame read_edf_frame(const ReadRequest& request);
Frame read_mar345(const ReadRequest& request);
Frame read_packed_frame(const ReadRequest& request);
Frame read_raw_image(const ReadRequest& request);
Frame read_saint_frame(const ReadRequest& request);
Frame read_tiff_frame(const ReadRequest& request);

}  // namespace host
