#pragma once

// Pixels between the file's channel order and the host's 8-bit buffers.

#include <emmintrin.h>

#include <bit>
#include <cstddef>
#include <cstdint>

namespace trellis::pixar {

/// One decoded pixel of a row. A channel that the file does not carry is 0.
struct Pixel {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    std::uint8_t matte = 0;
};

static_assert(sizeof(Pixel) == 4, "a row of pixels has the layout of dumped four-channel samples");

inline bool same(Pixel a, Pixel b) {
    return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
}

/// Sets `count` pixels to one value. Runs are short, so this is inline and keeps to the vectors
/// that every x86-64 processor has.
inline void fill_row(Pixel* row, std::size_t count, Pixel value) {
    constexpr std::size_t step = 4;
    if (count < step) {
        for (std::size_t x = 0; x < count; ++x) {
            row[x] = value;
        }
        return;
    }
    const __m128i values = _mm_set1_epi32(std::bit_cast<int>(value));
    for (std::size_t x = 0; x + step < count; x += step) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(row + x), values);
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(row + count - step), values);
}

/// Where a row goes in the host's buffers; either may be null.
struct RowTarget {
    std::uint8_t* colour;
    std::uint8_t* matte;

    /// The colour pixels that will be stored after these. Rows come at falling addresses, where the
    /// processor does not guess what is needed next; telling it saves a quarter of the time.
    const std::uint8_t* next_colour;
};

/// Stores a row: bytes 3, 2 and 1 of each colour pixel, whose byte 0 keeps its value, and the matte
/// bytes.
void store_row(const Pixel* row, std::size_t count, const RowTarget& to);

/// Where a row comes from: the same for the way out.
struct RowSource {
    const std::uint8_t* colour;
    const std::uint8_t* matte;
    const std::uint8_t* next_colour;
};

/// The reverse. The channels of a null buffer become 0.
void gather_row(const RowSource& from, std::size_t count, Pixel* row);

/// Three-channel samples (red, green, blue bytes) to pixels without matte, and back.
void expand_rgb(const std::uint8_t* samples, std::size_t count, Pixel* row);
void pack_rgb(const Pixel* row, std::size_t count, std::uint8_t* samples);

}  // namespace trellis::pixar
