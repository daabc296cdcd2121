#include "convert/cutout.h"

#include <algorithm>

#include "pixels/kernels.h"
#include "pixels/layouts.h"

namespace trellis::convert {

template <class Sample>
void split_cutout(Sample* colour, Sample* matte, const Sample* cutout, std::size_t count) {
    const pixels::Shapes<Sample>& shapes = pixels::kernels().shapes<Sample>();
    // One buffer after the other is written faster than two at once, so a block of pixels small
    // enough for the nearest cache is read twice. The mattes first: in place, the colours of 16-bit
    // pixels fall on them.
    constexpr std::size_t block = 512;
    for (std::size_t x = 0; x < count; x += block) {
        const std::size_t piece = std::min(block, count - x);
        if (matte != nullptr) {
            shapes.extract_matte(cutout + 4 * x, matte + x, piece);
        }
        shapes.extract_colours(cutout + 4 * x, colour + pixels::Layout<Sample>::colour_samples * x,
                               piece);
    }
}

template void split_cutout(std::uint8_t*, std::uint8_t*, const std::uint8_t*, std::size_t);
template void split_cutout(std::uint16_t*, std::uint16_t*, const std::uint16_t*, std::size_t);

}  // namespace trellis::convert
