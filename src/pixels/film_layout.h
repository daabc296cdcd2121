#pragma once

// The packed pixels of film files.

#include <cstddef>
#include <cstdint>

namespace trellis::pixels {

/// How one pixel is packed. Codes go from the most significant bit down in the order colour value
/// 2, 1, 0 (red, green, blue), matte.
enum class FilmLayout : std::uint8_t {
    none,             // a bit size that is not decoded: pixels take no bytes
    mask8,            // the matte in a byte
    colour8,          // three bytes
    cutout8,          // four bytes
    mask10,           // the matte in the upper ten bits of two bytes
    colour10,         // three codes in the upper thirty bits of four bytes
    colour10_little,  // the same word in little-endian files
    cutout10,         // four codes in five bytes
    colour12,         // three or four codes, each in the upper end of two bytes
    colour12_little,
    cutout12,
    cutout12_little,
    colour16,  // three or four times two bytes
    colour16_little,
    cutout16,
    cutout16_little,
};

inline constexpr std::size_t film_layout_count = 16;

/// Bytes per pixel.
constexpr std::size_t pixel_size(FilmLayout layout) {
    constexpr std::uint8_t sizes[film_layout_count] = {0, 1, 3, 4, 2, 4, 4, 5,
                                                       6, 6, 8, 8, 6, 6, 8, 8};
    return sizes[static_cast<std::size_t>(layout)];
}

/// Bits per code.
constexpr int code_bits(FilmLayout layout) {
    constexpr std::uint8_t bits[film_layout_count] = {0,  8,  8,  8,  10, 10, 10, 10,
                                                      12, 12, 12, 12, 16, 16, 16, 16};
    return bits[static_cast<std::size_t>(layout)];
}

/// What codes are unpacked as: themselves, or scaled to the range of 16-bit samples.
enum class FilmCodes : bool { kept, scaled };

}  // namespace trellis::pixels
