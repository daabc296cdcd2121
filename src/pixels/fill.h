#pragma once

// Setting a run of pixels to one value. Runs are short, so this is inline; 16 bytes at a time are
// what every processor that we know has an instruction for.

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace trellis::pixels {

/// Sets `count` pixels of four bytes to one value.
template <class Pixel>
requires(sizeof(Pixel) == 4) inline void fill(Pixel* row, std::size_t count, Pixel value) {
    constexpr std::size_t step = 4;
    if (count < step) {
        for (std::size_t x = 0; x < count; ++x) {
            row[x] = value;
        }
        return;
    }
    const Pixel values[step] = {value, value, value, value};
    using Register [[gnu::vector_size(16)]] = std::uint8_t;
    Register four;
    std::memcpy(&four, values, sizeof four);
    for (std::size_t x = 0; x + step < count; x += step) {
        std::memcpy(static_cast<void*>(row + x), &four, sizeof four);
    }
    std::memcpy(static_cast<void*>(row + count - step), &four, sizeof four);
}

}  // namespace trellis::pixels
