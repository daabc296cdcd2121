#pragma once

// PNG as one more format of the tool: a descriptor like those that the library fills, so that all
// code which handles pictures handles PNG too.

#include "trellis/pic_format.h"

namespace trellis::host {

/// The descriptors' type codes; the library's formats have others.
inline constexpr unsigned int png_type = 1000;
inline constexpr unsigned int deep_png_type = 1001;

/// Images are RGB files, cutouts RGBA and masks grey. Every valid PNG file loads: grey and palette
/// pictures are images, and transparency of any sort makes a cutout. PNG's alpha is straight, as is
/// the library's matte.
///
/// The first takes files of up to 8 bits a sample into 8-bit buffers, the second those of 16 bits
/// into 16-bit ones, where a sample keeps its upper 14 bits.
///
/// `compress` of their saves is how much time to take over a small file, 1 to 9 as in zlib, or 0
/// for what is quick with the picture.
void init_png_pic(pic_format* format);
void init_deep_png_pic(pic_format* format);

}  // namespace trellis::host
