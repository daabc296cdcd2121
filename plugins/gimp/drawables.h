#pragma once

// Pictures of the host library and images of GIMP.

#include <libgimp/gimp.h>

#include "trellis/view.hpp"

namespace plugin {

namespace host = trellis::host;

/// Makes an image of one layer. Film scans are of 16 bits and linear, so that no sample changes on
/// its way; other pictures have as many bits as they have. A mask is grey. Throws host::Error.
gint32 image_of(const host::Picture& picture, const std::string& path, bool linear);

/// The samples of a layer as the image holds them: of 8 bits if the image has 8, else of 16; grey
/// is a mask. Throws std::bad_alloc.
host::Picture picture_of(gint32 image, gint32 drawable);

}  // namespace plugin
