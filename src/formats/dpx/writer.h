#pragma once

// Saving a rectangle as a DPX or Cineon file.

#include "formats/dpx/picture.h"
#include "frame/error.h"
#include "frame/raster.h"

namespace trellis::dpx {

/// Save `rectangle` as a file of the given mode. The samples of a view without a buffer are saved
/// as 0. The header in the last-header buffer is used when it can be, and the one written is left
/// there.
Error save_dpx(const char* name, Colour16 colour, Matte16 matte, const Rectangle& rectangle,
               Mode mode);
Error save_smpte(const char* name, Colour16 colour, Matte16 matte, const Rectangle& rectangle,
                 Mode mode);

}  // namespace trellis::dpx
