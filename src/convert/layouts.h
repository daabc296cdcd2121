#pragma once

// How pixels are laid out at the two depths. A cutout pixel is four samples at either depth: matte,
// blue, green, red. A colour pixel is the same with a spare byte for the matte when its samples are
// 8-bit, and the three colours alone when they are 16-bit.

#include <cstddef>
#include <cstdint>

namespace trellis::convert {

template <class Sample>
struct Layout;

template <>
struct Layout<std::uint8_t> {
    static constexpr std::size_t colour_samples = 4;
    static constexpr std::size_t first_colour = 1;
    static constexpr std::uint8_t opaque = 255;
};

template <>
struct Layout<std::uint16_t> {
    static constexpr std::size_t colour_samples = 3;
    static constexpr std::size_t first_colour = 0;
    static constexpr std::uint16_t opaque = 16383;  // 16-bit samples have 14 significant bits
};

/// How many pixels a conversion covers.
struct Extent {
    std::int64_t width;
    std::int64_t height;
};

/// Calls `row` for each row that two views share. Nothing to do is nothing done.
template <class From, class To, class Row>
void each_row(From from, To to, Extent extent, Row row) {
    if (extent.width < 1) {
        return;
    }
    for (std::int64_t y = 0; y < extent.height; ++y) {
        row(from.pixel(0, y), to.pixel(0, y), static_cast<std::size_t>(extent.width));
    }
}

}  // namespace trellis::convert
