#pragma once

// A vector register of cutout pixels: eight of 8-bit samples or four of 16-bit ones, each matte,
// blue, green, red. All kernels of the layout conversions work on it, so only the loads and stores
// below know that colour pixels of 16 bits are three words long. Whichever the depth, the mattes of
// a register are eight bytes, those of four registers fill one. Loads and stores touch the named
// pixels only.

#include <cstddef>
#include <cstdint>

#include "convert/layouts.h"
#include "frame/avx2.h"

namespace trellis::convert {

/// Neighbouring registers, which are enough for whole ones of mattes and colours.
struct Four {
    __m256i registers[4];
};

TRELLIS_AVX2 inline Four load_four(const void* cutout) {
    const auto* from = static_cast<const __m256i*>(cutout);
    return {{avx2::load(from), avx2::load(from + 1), avx2::load(from + 2), avx2::load(from + 3)}};
}

/// What `kept` has set of two registers, packed within halves of 16 bytes.
TRELLIS_AVX2 inline __m256i packed(__m256i first, __m256i second, __m256i kept) {
    return _mm256_packus_epi32(_mm256_and_si256(first, kept), _mm256_and_si256(second, kept));
}

template <class Sample>
struct Lanes;

template <>
struct Lanes<std::uint8_t> {
    static constexpr std::size_t pixels = 8;

    TRELLIS_AVX2 static __m256i matte_lanes() { return _mm256_set1_epi32(0xFF); }
    TRELLIS_AVX2 static __m256i opaque() { return matte_lanes(); }

    /// Eight matte bytes to the matte lanes; the colour lanes are 0.
    TRELLIS_AVX2 static __m256i spread(__m128i mattes) { return _mm256_cvtepu8_epi32(mattes); }

    TRELLIS_AVX2 static __m256i mattes(const Four& cutouts) {
        const auto& [first, second, third, fourth] = cutouts.registers;
        return avx2::in_order(_mm256_packus_epi16(packed(first, second, matte_lanes()),
                                                  packed(third, fourth, matte_lanes())));
    }

    /// Each matte repeated in the colours of its pixel.
    TRELLIS_AVX2 static __m256i repeat(__m256i cutout) {
        return _mm256_shuffle_epi8(
            cutout, avx2::pattern(0, 0, 0, 0, 4, 4, 4, 4, 8, 8, 8, 8, 12, 12, 12, 12));
    }

    /// Colour pixels; what the matte lanes hold is left open.
    TRELLIS_AVX2 static __m256i load_colour(const std::uint8_t* colour) {
        return avx2::load(colour);
    }

    /// The spare byte of each colour pixel keeps its value.
    TRELLIS_AVX2 static void store_colour(std::uint8_t* colour, __m256i cutout) {
        avx2::store(colour, _mm256_blendv_epi8(cutout, avx2::load(colour), matte_lanes()));
    }
    TRELLIS_AVX2 static void store_colours(std::uint8_t* colour, const Four& cutouts) {
        for (std::size_t i = 0; i < 4; ++i) {
            store_colour(colour + 4 * pixels * i, cutouts.registers[i]);
        }
    }
};

template <>
struct Lanes<std::uint16_t> {
    static constexpr std::size_t pixels = 4;

    TRELLIS_AVX2 static __m256i matte_lanes() { return _mm256_set1_epi64x(0xFFFF); }
    TRELLIS_AVX2 static __m256i opaque() {
        return _mm256_set1_epi64x(Layout<std::uint16_t>::opaque);
    }

    TRELLIS_AVX2 static __m256i spread(__m128i mattes) { return _mm256_cvtepu16_epi64(mattes); }

    TRELLIS_AVX2 static __m256i mattes(const Four& cutouts) {
        const auto& [first, second, third, fourth] = cutouts.registers;
        return avx2::in_order(_mm256_packus_epi32(packed(first, second, matte_lanes()),
                                                  packed(third, fourth, matte_lanes())));
    }

    TRELLIS_AVX2 static __m256i repeat(__m256i cutout) {
        return _mm256_shuffle_epi8(cutout,
                                   avx2::pattern(0, 1, 0, 1, 0, 1, 0, 1, 8, 9, 8, 9, 8, 9, 8, 9));
    }

    // Four pixels of three words are 24 bytes: two pixels go to each half of the register, the
    // latter two read from 4 bytes before them, so that nothing behind the last is read.
    TRELLIS_AVX2 static __m256i load_colour(const std::uint16_t* colour) {
        const __m256i spread =
            _mm256_setr_epi8(-1, -1, 0, 1, 2, 3, 4, 5, -1, -1, 6, 7, 8, 9, 10, 11, -1, -1, 4, 5, 6,
                             7, 8, 9, -1, -1, 10, 11, 12, 13, 14, 15);
        return _mm256_shuffle_epi8(_mm256_set_m128i(avx2::load16(colour + 4), avx2::load16(colour)),
                                   spread);
    }

    TRELLIS_AVX2 static void store_colour(std::uint16_t* colour, __m256i cutout) {
        const __m256i colours = pairs<0, 1, 2, 4, 5, 6, 7, 7>(cutout);
        avx2::store16(colour, _mm256_castsi256_si128(colours));
        avx2::store8(colour + 8, _mm256_extracti128_si256(colours, 1));
    }

    // The six pairs of words that each register has go to where they stand in the three registers
    // that they fill: those of the second and third in two pieces.
    TRELLIS_AVX2 static void store_colours(std::uint16_t* colour, const Four& cutouts) {
        const __m256i first = pairs<0, 1, 2, 4, 5, 6, 7, 7>(cutouts.registers[0]);
        const __m256i second = pairs<2, 4, 5, 6, 7, 7, 0, 1>(cutouts.registers[1]);
        const __m256i third = pairs<5, 6, 7, 7, 0, 1, 2, 4>(cutouts.registers[2]);
        const __m256i fourth = pairs<7, 7, 0, 1, 2, 4, 5, 6>(cutouts.registers[3]);
        avx2::store(colour, _mm256_blend_epi32(first, second, 0b11000000));
        avx2::store(colour + 16, _mm256_blend_epi32(second, third, 0b11110000));
        avx2::store(colour + 32, _mm256_blend_epi32(third, fourth, 0b11111100));
    }

  private:
    /// The colours of a register as pairs of words, in the order that is given: 0 to 2 are those of
    /// the first two pixels, 4 to 6 those of the others, 7 is none.
    template <int... order>
    TRELLIS_AVX2 static __m256i pairs(__m256i cutout) {
        const __m256i halves = _mm256_shuffle_epi8(
            cutout, avx2::pattern(2, 3, 4, 5, 6, 7, 10, 11, 12, 13, 14, 15, -1, -1, -1, -1));
        return _mm256_permutevar8x32_epi32(halves, _mm256_setr_epi32(order...));
    }
};

}  // namespace trellis::convert
