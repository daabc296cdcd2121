#pragma once

// Saving a rectangle as a Maya IFF file of one tile.

#include "frame/error.h"
#include "frame/raster.h"

namespace trellis::iff {

/// Saves the pixels of the views that have a buffer. Only the size of `rectangle` counts: its lower
/// left pixel is the buffers' pixel (0, 0). A nonzero `compress` asks for run-length packets and
/// is stored in the header. A rectangle that is empty, or larger than the format can store, is
/// Error::window; no file is made where that is known before the packets are.
Error write_maya_pic(const char* name, ColourSource8 colour, MatteSource8 matte,
                     const Rectangle& rectangle, int compress);

}  // namespace trellis::iff
