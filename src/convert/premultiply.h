#pragma once

// Between the two conventions of 8-bit cutout pixels: today's, a plain matte beside colours as they
// are, and the old one, an inverted matte (0 is opaque) beside colours multiplied by the coverage.

#include <cstddef>
#include <cstdint>

namespace trellis::convert {

/// Old to new: the matte is turned over and the colours are divided by it, cut off to 8 bits.
void unpremultiply(std::uint8_t* cutout, std::size_t count);

/// New to old: the colours are multiplied by the matte, and the matte is turned over.
void premultiply(std::uint8_t* cutout, std::size_t count);

}  // namespace trellis::convert
