#pragma once

// Pixels between the file's channel order and the host's 8-bit buffers.

#include <bit>
#include <cstddef>
#include <cstdint>

#include "pixels/kernels.h"

namespace trellis::pixar {

/// One decoded pixel of a row. A channel that the file does not carry is 0.
struct Pixel {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    std::uint8_t matte = 0;
};

static_assert(sizeof(Pixel) == 4, "a row of pixels has the layout of dumped four-channel samples");

inline std::uint8_t* bytes_of(Pixel* row) {
    return reinterpret_cast<std::uint8_t*>(row);
}
inline const std::uint8_t* bytes_of(const Pixel* row) {
    return reinterpret_cast<const std::uint8_t*>(row);
}

inline bool same(Pixel a, Pixel b) {
    return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
}

/// Where a row goes in the host's buffers; either may be null.
struct RowTarget {
    std::uint8_t* colour;
    std::uint8_t* matte;

    /// The colour pixels that will be stored after these. Rows come at falling addresses, where the
    /// processor does not guess what is needed next; a hint saves a quarter of the time.
    const std::uint8_t* next_colour;
};

/// Stores a row: bytes 3, 2 and 1 of each colour pixel, whose byte 0 keeps its value, and the matte
/// bytes.
inline void store_row(const Pixel* row, std::size_t count, const RowTarget& to) {
    pixels::kernels().store_reversed(bytes_of(row), to.colour, to.matte, to.next_colour, count);
}

/// Where a row comes from: the same for the way out.
struct RowSource {
    const std::uint8_t* colour;
    const std::uint8_t* matte;
    const std::uint8_t* next_colour;
};

/// The reverse. The channels of a null buffer become 0.
inline void gather_row(const RowSource& from, std::size_t count, Pixel* row) {
    pixels::kernels().gather_reversed(from.colour, from.matte, from.next_colour, bytes_of(row),
                                      count);
}

/// Three-channel samples (red, green, blue bytes) to pixels without matte, and back.
inline void expand_rgb(const std::uint8_t* samples, std::size_t count, Pixel* row) {
    pixels::kernels().expand(samples, 0, bytes_of(row), count);
}
inline void pack_rgb(const Pixel* row, std::size_t count, std::uint8_t* samples) {
    pixels::kernels().pack(bytes_of(row), 0, samples, count);
}

}  // namespace trellis::pixar
