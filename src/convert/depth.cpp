#include "convert/depth.h"

#include "pixels/kernels.h"

namespace trellis::convert {

void widen(ColourSource8 from, Colour16 to, Extent extent) {
    each_row(from, to, extent, pixels::kernels().widen_colours);
}

void widen(CutoutSource8 from, Cutout16 to, Extent extent) {
    each_row(from, to, extent, [](const std::uint8_t* bytes, std::uint16_t* words, std::size_t n) {
        pixels::kernels().widen(bytes, words, 4 * n);
    });
}

void widen(MatteSource8 from, Matte16 to, Extent extent) {
    each_row(from, to, extent, pixels::kernels().widen);
}

void narrow(ColourSource16 from, Colour8 to, Extent extent) {
    each_row(from, to, extent, pixels::kernels().narrow_colours);
}

void narrow(CutoutSource16 from, Cutout8 to, Extent extent) {
    each_row(from, to, extent, [](const std::uint16_t* words, std::uint8_t* bytes, std::size_t n) {
        pixels::kernels().narrow(words, bytes, 4 * n);
    });
}

void narrow(MatteSource16 from, Matte8 to, Extent extent) {
    each_row(from, to, extent, pixels::kernels().narrow);
}

}  // namespace trellis::convert
