#pragma once

// Loading a rectangle of a DPX or Cineon file.

#include "frame/error.h"
#include "frame/raster.h"

namespace trellis::dpx {

/// Load `rectangle` into the given buffers; a view without a buffer stores nothing. The sign of
/// `file_x` and `file_y` does not matter. What the file holds is not checked against the buffers:
/// samples that it does not carry load as 0. The header goes into the last-header buffer.
Error load_dpx(const char* name, Colour16 colour, Matte16 matte, const Rectangle& rectangle,
               int file_x, int file_y);
Error load_smpte(const char* name, Colour16 colour, Matte16 matte, const Rectangle& rectangle,
                 int file_x, int file_y);

}  // namespace trellis::dpx
