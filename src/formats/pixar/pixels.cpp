#include "formats/pixar/pixels.h"

#include "frame/avx2.h"
#include "frame/cpu.h"

// Each routine comes as a vector kernel that handles the front of the row and returns how many
// pixels it did, and a plain loop that says what is to be done and finishes the row.

namespace trellis::pixar {

namespace {

using avx2::load;
using avx2::pattern;
using avx2::store;

TRELLIS_AVX2 std::size_t store_avx2(const Pixel* row, std::size_t count, const RowTarget& target) {
    constexpr std::size_t step = 32;
    const __m256i reverse = pattern(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12);
    const __m256i spare = _mm256_set1_epi32(0xFF);
    std::size_t x = 0;
    for (; x + step <= count; x += step) {
        const __m256i pixels[4] = {load(row + x), load(row + x + 8), load(row + x + 16),
                                   load(row + x + 24)};
        if (target.colour != nullptr) {
            _mm_prefetch(target.next_colour + 4 * x, _MM_HINT_T0);
            _mm_prefetch(target.next_colour + 4 * x + 64, _MM_HINT_T0);
            std::uint8_t* to = target.colour + 4 * x;
            for (int i = 0; i < 4; ++i, to += 32) {
                const __m256i reversed = _mm256_shuffle_epi8(pixels[i], reverse);
                store(to, _mm256_blendv_epi8(reversed, load(to), spare));
            }
        }
        if (target.matte != nullptr) {
            const __m256i low = _mm256_packus_epi32(_mm256_srli_epi32(pixels[0], 24),
                                                    _mm256_srli_epi32(pixels[1], 24));
            const __m256i high = _mm256_packus_epi32(_mm256_srli_epi32(pixels[2], 24),
                                                     _mm256_srli_epi32(pixels[3], 24));
            const __m256i packed = _mm256_packus_epi16(low, high);
            store(target.matte + x, avx2::in_order(packed));
        }
    }
    return x;
}

TRELLIS_AVX2 std::size_t gather_avx2(const RowSource& from, std::size_t count, Pixel* row) {
    const __m256i reverse = pattern(3, 2, 1, -1, 7, 6, 5, -1, 11, 10, 9, -1, 15, 14, 13, -1);
    std::size_t x = 0;
    for (; x + 8 <= count; x += 8) {
        __m256i pixels = _mm256_setzero_si256();
        if (from.colour != nullptr) {
            _mm_prefetch(from.next_colour + 4 * x, _MM_HINT_NTA);
            pixels = _mm256_shuffle_epi8(load(from.colour + 4 * x), reverse);
        }
        if (from.matte != nullptr) {
            const __m256i mattes = _mm256_cvtepu8_epi32(avx2::load8(from.matte + x));
            pixels = _mm256_or_si256(pixels, _mm256_slli_epi32(mattes, 24));
        }
        store(row + x, pixels);
    }
    return x;
}

TRELLIS_AVX2 std::size_t expand_rgb_avx2(const std::uint8_t* samples, std::size_t count,
                                         Pixel* row) {
    const __m256i spread = pattern(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
    std::size_t x = 0;
    // A load takes 16 bytes where 12 are meant: two more pixels must follow.
    for (; x + 10 <= count; x += 8) {
        const auto* from = reinterpret_cast<const __m128i*>(samples + 3 * x);
        const auto* next = reinterpret_cast<const __m128i*>(samples + 3 * x + 12);
        const __m256i both = _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128(from)),
                                                     _mm_loadu_si128(next), 1);
        store(row + x, _mm256_shuffle_epi8(both, spread));
    }
    return x;
}

TRELLIS_AVX2 std::size_t pack_rgb_avx2(const Pixel* row, std::size_t count, std::uint8_t* samples) {
    const __m256i squeeze = pattern(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    std::size_t x = 0;
    // A store writes 16 bytes where 12 are meant: two more pixels must follow and overwrite them.
    for (; x + 10 <= count; x += 8) {
        const __m256i packed = _mm256_shuffle_epi8(load(row + x), squeeze);
        auto* to = reinterpret_cast<__m128i*>(samples + 3 * x);
        auto* next = reinterpret_cast<__m128i*>(samples + 3 * x + 12);
        _mm_storeu_si128(to, _mm256_castsi256_si128(packed));
        _mm_storeu_si128(next, _mm256_extracti128_si256(packed, 1));
    }
    return x;
}

}  // namespace

void store_row(const Pixel* row, std::size_t count, const RowTarget& to) {
    for (std::size_t x = use_avx2() ? store_avx2(row, count, to) : 0; x < count; ++x) {
        if (to.colour != nullptr) {
            to.colour[4 * x + 1] = row[x].blue;
            to.colour[4 * x + 2] = row[x].green;
            to.colour[4 * x + 3] = row[x].red;
        }
        if (to.matte != nullptr) {
            to.matte[x] = row[x].matte;
        }
    }
}

void gather_row(const RowSource& from, std::size_t count, Pixel* row) {
    for (std::size_t x = use_avx2() ? gather_avx2(from, count, row) : 0; x < count; ++x) {
        row[x] = {};
        if (from.colour != nullptr) {
            row[x].blue = from.colour[4 * x + 1];
            row[x].green = from.colour[4 * x + 2];
            row[x].red = from.colour[4 * x + 3];
        }
        if (from.matte != nullptr) {
            row[x].matte = from.matte[x];
        }
    }
}

void expand_rgb(const std::uint8_t* samples, std::size_t count, Pixel* row) {
    for (std::size_t x = use_avx2() ? expand_rgb_avx2(samples, count, row) : 0; x < count; ++x) {
        row[x] = {samples[3 * x], samples[3 * x + 1], samples[3 * x + 2], 0};
    }
}

void pack_rgb(const Pixel* row, std::size_t count, std::uint8_t* samples) {
    for (std::size_t x = use_avx2() ? pack_rgb_avx2(row, count, samples) : 0; x < count; ++x) {
        samples[3 * x] = row[x].red;
        samples[3 * x + 1] = row[x].green;
        samples[3 * x + 2] = row[x].blue;
    }
}

}  // namespace trellis::pixar
