#pragma once

// Changing the depth of rectangles: 8-bit samples to 16-bit ones and back.

#include <cstdint>

#include "convert/layouts.h"
#include "frame/raster.h"

namespace trellis::convert {

/// 0 to 255 becomes 0 to 16383: v × 64 with the two highest bits repeated below.
constexpr std::uint16_t widened(std::uint8_t v) {
    return static_cast<std::uint16_t>(v * 64 + v / 4);
}

/// The highest eight of 14 bits. A sample above 16383 wraps.
constexpr std::uint8_t narrowed(std::uint16_t w) {
    return static_cast<std::uint8_t>(w >> 6);
}

/// Convert the extent's pixels from the origin of one view to the origin of the other. Between
/// colour buffers the three colours are converted, and the spare byte is neither read nor written;
/// between cutout buffers all four samples.
void widen(Colour8 from, Colour16 to, Extent extent);
void widen(Cutout8 from, Cutout16 to, Extent extent);
void widen(Matte8 from, Matte16 to, Extent extent);
void narrow(Colour16 from, Colour8 to, Extent extent);
void narrow(Cutout16 from, Cutout8 to, Extent extent);
void narrow(Matte16 from, Matte8 to, Extent extent);

}  // namespace trellis::convert
