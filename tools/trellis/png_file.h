#pragma once

// PNG as one more format of the tool: a descriptor like those that the library fills, so that all
// code which handles pictures handles PNG too.

#include "trellis/pic_format.h"

namespace tool {

/// The descriptor's type code; the library's formats have others.
inline constexpr unsigned int png_type = 1000;

/// Images are RGB files, cutouts RGBA and masks grey. Every valid PNG file loads: 16-bit samples
/// are narrowed to 8, grey and palette pictures are images, and transparency of any sort makes a
/// cutout. PNG's alpha is straight, as is the library's matte.
void init_png_pic(pic_format* format);

}  // namespace tool
