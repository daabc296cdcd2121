#include "formats/dpx/pixels.h"

#include <algorithm>
#include <cstring>

#include "pixels/kernels.h"

namespace trellis::dpx {

namespace {

constexpr std::uint32_t full_scale = 16383;

// Full scale is odd, so nothing lies halfway between two codes.
template <int bits>
std::uint16_t code_of(std::uint16_t sample) {
    constexpr std::uint32_t greatest = (1U << bits) - 1;
    const std::uint32_t cut = std::min<std::uint32_t>(sample, full_scale);
    return static_cast<std::uint16_t>((cut * greatest + full_scale / 2) / full_scale);
}

// Codes in bytes, or in the upper end of two.
template <int bits>
void pack_codes(Mode mode, const std::uint16_t* colour, const std::uint16_t* matte,
                std::size_t count, std::uint8_t* bytes) {
    const auto put = [&bytes](std::uint16_t sample) {
        const std::uint32_t code = code_of<bits>(sample);
        if constexpr (bits == 8) {
            *bytes++ = static_cast<std::uint8_t>(code);
        } else {
            const std::uint32_t word = code << (16 - bits);
            *bytes++ = static_cast<std::uint8_t>(word >> 8);
            *bytes++ = static_cast<std::uint8_t>(word);
        }
    };
    for (std::size_t i = 0; i < count; ++i) {
        if (mode != Mode::mask) {
            put(colour[3 * i + 2]);
            put(colour[3 * i + 1]);
            put(colour[3 * i]);
        }
        if (mode != Mode::picture) {
            put(matte[i]);
        }
    }
}

// Scales a few pixels at a time, and packs them as the slots do.
void pack_ten_bits(Mode mode, const std::uint16_t* colour, const std::uint16_t* matte,
                   std::size_t count, std::uint8_t* bytes) {
    constexpr std::size_t at_once = 256;
    std::uint16_t colour_codes[3 * at_once];
    std::uint16_t matte_codes[at_once];
    const int shift = mode == Mode::mask ? 4 : 0;
    const Layout layout = saved_layout(mode);
    for (std::size_t first = 0; first < count; first += at_once) {
        const std::size_t pixels = std::min(at_once, count - first);
        for (std::size_t i = 0; colour != nullptr && i < 3 * pixels; ++i) {
            colour_codes[i] = code_of<10>(colour[3 * first + i]);
        }
        for (std::size_t i = 0; matte != nullptr && i < pixels; ++i) {
            matte_codes[i] = static_cast<std::uint16_t>(code_of<10>(matte[first + i]) << shift);
        }
        pixels::kernels().pack_film(layout, colour == nullptr ? nullptr : colour_codes,
                                    matte == nullptr ? nullptr : matte_codes, pixels,
                                    bytes + first * pixel_size(layout));
    }
}

}  // namespace

std::size_t saved_pixel_size(const Source& source) {
    if (source.bits == 10) {
        return pixel_size(saved_layout(source.mode));
    }
    const std::size_t channels = source.mode == Mode::mask      ? 1
                                 : source.mode == Mode::picture ? 3
                                                                : 4;
    return source.bits == 8 ? channels : 2 * channels;
}

std::uint32_t image_size(const Source& source) {
    return static_cast<std::uint32_t>(source.rectangle.width()) *
           static_cast<std::uint32_t>(source.rectangle.height()) *
           static_cast<std::uint32_t>(saved_pixel_size(source));
}

void clear_pixels(std::size_t count, std::uint16_t* colour, std::uint16_t* matte) {
    if (colour != nullptr) {
        std::memset(colour, 0, count * 3 * sizeof *colour);
    }
    if (matte != nullptr) {
        std::memset(matte, 0, count * sizeof *matte);
    }
}

void pack_pixels(const Source& source, const std::uint16_t* colour, const std::uint16_t* matte,
                 std::size_t count, std::uint8_t* bytes) {
    if (!source.scaled) {
        pixels::kernels().pack_film(saved_layout(source.mode), colour, matte, count, bytes);
        return;
    }
    const auto pack = source.bits == 8    ? pack_codes<8>
                      : source.bits == 12 ? pack_codes<12>
                      : source.bits == 16 ? pack_codes<16>
                                          : pack_ten_bits;
    pack(source.mode, colour, matte, count, bytes);
}

}  // namespace trellis::dpx
