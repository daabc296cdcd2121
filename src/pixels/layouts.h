#pragma once

// How pixels are laid out at the two depths, and the rules that change their samples. A cutout
// pixel is four samples at either depth: matte, blue, green, red. A colour pixel is the same with a
// spare byte for the matte when its samples are 8-bit, and the three colours alone when they are
// 16-bit.

#include <cstddef>
#include <cstdint>

namespace trellis::pixels {

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

/// 0 to 255 becomes 0 to 16383: v × 64 with the two highest bits repeated below.
constexpr std::uint16_t widened(std::uint8_t v) {
    return static_cast<std::uint16_t>(v * 64 + v / 4);
}

/// The highest eight of 14 bits. A sample above 16383 wraps.
constexpr std::uint8_t narrowed(std::uint16_t w) {
    return static_cast<std::uint8_t>(w >> 6);
}

/// A film code of so many bits, full scale to full scale and rounded to nearest, in numbers of 16
/// bits, which vectors hold most of. 16383 is `steps` times the greatest code and `steps` - 1, so
/// what is left to round is a small part. The greatest code is odd: nothing lies halfway between
/// two results.
template <int bits>
constexpr std::uint16_t scaled(std::uint16_t code) {
    constexpr std::uint32_t steps = 1U << (14 - bits);
    const auto part = static_cast<std::uint16_t>(code * (steps - 1) + (1U << (bits - 1)));
    const auto rounded = static_cast<std::uint16_t>(part + (part >> bits)) >> bits;
    return static_cast<std::uint16_t>(code * steps + static_cast<std::uint32_t>(rounded));
}

/// Of 16 bits it is a quarter, less a little that grows from 0 to 3 / 4.
template <>
constexpr std::uint16_t scaled<16>(std::uint16_t code) {
    const std::uint32_t product = code * 16383U + 32768;
    return static_cast<std::uint16_t>((product + (product >> 16)) >> 16);
}

/// The grey of a colour. The double-precision sum is made in this order and cut off, never rounded:
/// the result is exact to the bit, so 16383 of all three colours is 16382.
template <class Sample>
constexpr Sample grey(Sample blue, Sample green, Sample red) {
    return static_cast<Sample>(0.11 * blue + 0.59 * green + 0.3 * red);
}

}  // namespace trellis::pixels
