#pragma once

// Loading a rectangle of a Pixar file.

#include <cstdint>

#include "frame/error.h"
#include "frame/limits.h"
#include "frame/raster.h"

namespace trellis::pixar {

/// Loads the tiles that meet `rectangle` into the given buffers; a view without a buffer stores
/// nothing. The sign of `file_x` and `file_y` does not matter. `format` receives the file's channel
/// bits once the header is read. After a failure, rows that were complete stay stored.
Error load_pixar(const char* name, Colour8 colour, Matte8 matte, const Rectangle& rectangle,
                 int file_x, int file_y, const Limits& limits, std::uint16_t& format);

}  // namespace trellis::pixar
