#pragma once

// Colour to mask and back, for 8-bit and for 16-bit samples.

#include <cstddef>
#include <cstdint>

namespace trellis::convert {

/// The grey of a colour. The double-precision sum is made in this order and cut off, never rounded:
/// the result is exact to the bit, so 16383 of all three colours is 16382.
template <class Sample>
constexpr Sample grey(Sample blue, Sample green, Sample red) {
    return static_cast<Sample>(0.11 * blue + 0.59 * green + 0.3 * red);
}

/// Mask samples from the grey of colour pixels.
template <class Sample>
void colour_to_mask(const Sample* colour, Sample* mask, std::size_t count);

/// Colour pixels whose three colours are the mask; the spare byte of 8-bit ones keeps its value.
template <class Sample>
void mask_to_colour(const Sample* mask, Sample* colour, std::size_t count);

}  // namespace trellis::convert
