#include "formats/dpx/pixels.h"

#include <cstring>

#include "pixels/kernels.h"

namespace trellis::dpx {

std::uint32_t image_size(const Rectangle& rectangle, Mode mode) {
    return static_cast<std::uint32_t>(rectangle.width()) *
           static_cast<std::uint32_t>(rectangle.height()) *
           static_cast<std::uint32_t>(pixel_size(saved_layout(mode)));
}

void unpack_pixels(Layout layout, const std::uint8_t* bytes, std::size_t count,
                   std::uint16_t* colour, std::uint16_t* matte) {
    pixels::kernels().unpack_film(layout, bytes, count, colour, matte);
}

void clear_pixels(std::size_t count, std::uint16_t* colour, std::uint16_t* matte) {
    if (colour != nullptr) {
        std::memset(colour, 0, count * 3 * sizeof *colour);
    }
    if (matte != nullptr) {
        std::memset(matte, 0, count * sizeof *matte);
    }
}

void pack_pixels(Mode mode, const std::uint16_t* colour, const std::uint16_t* matte,
                 std::size_t count, std::uint8_t* bytes) {
    pixels::kernels().pack_film(saved_layout(mode), colour, matte, count, bytes);
}

}  // namespace trellis::dpx
