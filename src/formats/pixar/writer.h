#pragma once

// Saving a rectangle as a Pixar file of one tile.

#include <cstdint>

#include "frame/error.h"
#include "frame/raster.h"

namespace trellis::pixar {

/// Saves `rectangle` with the channels of `format` (image_format or cutout_format), as packets when
/// `compress` is set, else dumped. The channels of a view without a buffer are saved as 0. An empty
/// rectangle, or one that is too large for the header's 16-bit fields, is Error::window and
/// makes no file.
Error save_pixar(const char* name, ColourSource8 colour, MatteSource8 matte,
                 const Rectangle& rectangle, bool compress, std::uint16_t format);

}  // namespace trellis::pixar
