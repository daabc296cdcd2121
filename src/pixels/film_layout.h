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
};

inline constexpr std::size_t film_layout_count = 8;

/// Bytes per pixel.
constexpr std::size_t pixel_size(FilmLayout layout) {
    constexpr std::uint8_t sizes[film_layout_count] = {0, 1, 3, 4, 2, 4, 4, 5};
    return sizes[static_cast<std::size_t>(layout)];
}

}  // namespace trellis::pixels
