#include "convert/depth.h"

#include "convert/lanes.h"
#include "frame/cpu.h"

namespace trellis::convert {

namespace {

// As in all conversions, a kernel does the front of a row and returns how much of it that was; a
// plain loop says what is to be done and finishes the row.

TRELLIS_AVX2 __m256i widened_avx2(__m128i bytes) {
    const __m256i words = _mm256_cvtepu8_epi16(bytes);
    return _mm256_or_si256(_mm256_slli_epi16(words, 6), _mm256_srli_epi16(words, 2));
}

// Packing works within halves of 16 bytes; the permutation puts the four groups back in order.
TRELLIS_AVX2 __m256i narrowed_avx2(__m256i a, __m256i b) {
    const __m256i byte = _mm256_set1_epi16(0xFF);
    const __m256i low = _mm256_and_si256(_mm256_srli_epi16(a, 6), byte);
    const __m256i high = _mm256_and_si256(_mm256_srli_epi16(b, 6), byte);
    return _mm256_permute4x64_epi64(_mm256_packus_epi16(low, high), 0b11011000);
}

TRELLIS_AVX2 std::size_t widen_samples_avx2(const std::uint8_t* from, std::uint16_t* to,
                                            std::size_t count) {
    std::size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        avx2::store(to + i, widened_avx2(avx2::load16(from + i)));
    }
    return i;
}

TRELLIS_AVX2 std::size_t narrow_samples_avx2(const std::uint16_t* from, std::uint8_t* to,
                                             std::size_t count) {
    std::size_t i = 0;
    for (; i + 32 <= count; i += 32) {
        avx2::store(to + i, narrowed_avx2(avx2::load(from + i), avx2::load(from + i + 16)));
    }
    return i;
}

TRELLIS_AVX2 std::size_t widen_colour_avx2(const std::uint8_t* from, std::uint16_t* to,
                                           std::size_t count) {
    std::size_t x = 0;
    for (; x + 4 <= count; x += 4) {
        Lanes<std::uint16_t>::store_colour(to + 3 * x, widened_avx2(avx2::load16(from + 4 * x)));
    }
    return x;
}

TRELLIS_AVX2 std::size_t narrow_colour_avx2(const std::uint16_t* from, std::uint8_t* to,
                                            std::size_t count) {
    using Words = Lanes<std::uint16_t>;
    std::size_t x = 0;
    for (; x + 8 <= count; x += 8) {
        const __m256i pixels =
            narrowed_avx2(Words::load_colour(from + 3 * x), Words::load_colour(from + 3 * x + 12));
        Lanes<std::uint8_t>::store_colour(to + 4 * x, pixels);
    }
    return x;
}

void widen_samples(const std::uint8_t* from, std::uint16_t* to, std::size_t count) {
    for (std::size_t i = use_avx2() ? widen_samples_avx2(from, to, count) : 0; i < count; ++i) {
        to[i] = widened(from[i]);
    }
}

void narrow_samples(const std::uint16_t* from, std::uint8_t* to, std::size_t count) {
    for (std::size_t i = use_avx2() ? narrow_samples_avx2(from, to, count) : 0; i < count; ++i) {
        to[i] = narrowed(from[i]);
    }
}

void widen_colour(const std::uint8_t* from, std::uint16_t* to, std::size_t count) {
    for (std::size_t x = use_avx2() ? widen_colour_avx2(from, to, count) : 0; x < count; ++x) {
        for (std::size_t c = 0; c < 3; ++c) {
            to[3 * x + c] = widened(from[4 * x + 1 + c]);
        }
    }
}

void narrow_colour(const std::uint16_t* from, std::uint8_t* to, std::size_t count) {
    for (std::size_t x = use_avx2() ? narrow_colour_avx2(from, to, count) : 0; x < count; ++x) {
        for (std::size_t c = 0; c < 3; ++c) {
            to[4 * x + 1 + c] = narrowed(from[3 * x + c]);
        }
    }
}

}  // namespace

void widen(Colour8 from, Colour16 to, Extent extent) {
    each_row(from, to, extent, widen_colour);
}

void widen(Cutout8 from, Cutout16 to, Extent extent) {
    each_row(from, to, extent, [](const std::uint8_t* bytes, std::uint16_t* words, std::size_t n) {
        widen_samples(bytes, words, 4 * n);
    });
}

void widen(Matte8 from, Matte16 to, Extent extent) {
    each_row(from, to, extent, widen_samples);
}

void narrow(Colour16 from, Colour8 to, Extent extent) {
    each_row(from, to, extent, narrow_colour);
}

void narrow(Cutout16 from, Cutout8 to, Extent extent) {
    each_row(from, to, extent, [](const std::uint16_t* words, std::uint8_t* bytes, std::size_t n) {
        narrow_samples(words, bytes, 4 * n);
    });
}

void narrow(Matte16 from, Matte8 to, Extent extent) {
    each_row(from, to, extent, narrow_samples);
}

}  // namespace trellis::convert
