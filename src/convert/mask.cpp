#include "convert/mask.h"

#include <algorithm>
#include <bit>

#include "convert/lanes.h"
#include "convert/layouts.h"
#include "frame/cpu.h"

namespace trellis::convert {

namespace {

/// One colour of four 16-bit pixels as doubles, by way of the bits of 2^52: its high word stands
/// behind the two pixels of each half, and a small whole number in its low word is added to it.
template <char colour>
TRELLIS_AVX2 __m256d doubles(__m256i pixels) {
    constexpr char low = 2 * colour;
    constexpr char high = 2 * colour + 1;
    const __m256i sums =
        _mm256_shuffle_epi8(pixels, avx2::pattern(low, high, -1, -1, -1, -1, 14, 15, low + 6,
                                                  high + 6, -1, -1, -1, -1, 14, 15));
    return _mm256_sub_pd(_mm256_castsi256_pd(sums), _mm256_set1_pd(0x1p52));
}

/// The greys of four 16-bit pixels, by the very operations of grey() in its order. Reads two words
/// more than the pixels have.
TRELLIS_AVX2 __m128i exact_greys(const std::uint16_t* colour) {
    const __m256i pixels = _mm256_set_m128i(avx2::load16(colour + 6), avx2::load16(colour));
    const __m256i marked = _mm256_blend_epi16(pixels, _mm256_set1_epi16(0x4330), 0b10000000);
    const __m256d blue = _mm256_mul_pd(_mm256_set1_pd(0.11), doubles<0>(marked));
    const __m256d green = _mm256_mul_pd(_mm256_set1_pd(0.59), doubles<1>(marked));
    const __m256d red = _mm256_mul_pd(_mm256_set1_pd(0.3), doubles<2>(marked));
    return _mm256_cvttpd_epi32(_mm256_add_pd(_mm256_add_pd(blue, green), red));
}

TRELLIS_AVX2 std::size_t colour_to_mask_avx2(const std::uint16_t* colour, std::uint16_t* mask,
                                             std::size_t count) {
    std::size_t x = 0;
    // The last pixel is left, for it is what the kernel reads in part.
    for (; x + 8 < count; x += 8) {
        const __m128i first = exact_greys(colour + 3 * x);
        const __m128i next = exact_greys(colour + 3 * x + 12);
        avx2::store16(mask + x, _mm_packus_epi32(first, next));
    }
    return x;
}

// The hundredths of a grey, 11 × blue + 59 × green + 30 × red, are a whole number. When it is no
// multiple of 100, the double-precision sum is on the same side of every whole grey as it is, and
// the grey is the quotient. When it is one, the sum may fall just short of the quotient. That is
// one colour in a hundred, and all neutral ones.

/// A bit for each sample value whose neutral colour falls short.
struct ShortNeutrals {
    std::uint8_t bits[32] = {};

    constexpr ShortNeutrals() {
        for (unsigned int v = 0; v < 256; ++v) {
            const auto sample = static_cast<std::uint8_t>(v);
            if (grey(sample, sample, sample) < v) {
                bits[v / 8] = static_cast<std::uint8_t>(bits[v / 8] | 1 << v % 8);
            }
        }
    }
};

constexpr ShortNeutrals short_neutrals;

/// All ones for each of eight pixels that is neutral: green and red together are blue and green.
TRELLIS_AVX2 __m256i neutral(const std::uint8_t* colour) {
    const __m256i pixels = avx2::load(colour);
    return _mm256_srai_epi32(_mm256_cmpeq_epi16(pixels, _mm256_slli_epi32(pixels, 8)), 16);
}

TRELLIS_AVX2 __m256i red(const std::uint8_t* colour) {
    return _mm256_srli_epi32(avx2::load(colour), 24);
}

/// −1 for each of 32 greys whose neutral colour falls short of them.
TRELLIS_AVX2 __m256i falls_short(__m256i greys) {
    const __m256i index = _mm256_and_si256(_mm256_srli_epi16(greys, 3), _mm256_set1_epi8(31));
    const __m256i low = _mm256_broadcastsi128_si256(avx2::load16(short_neutrals.bits));
    const __m256i high = _mm256_broadcastsi128_si256(avx2::load16(short_neutrals.bits + 16));
    const __m256i bits = _mm256_blendv_epi8(_mm256_shuffle_epi8(low, index),
                                            _mm256_shuffle_epi8(high, index), greys);
    const __m256i bit =
        _mm256_shuffle_epi8(avx2::pattern(1, 2, 4, 8, 16, 32, 64, -128, 0, 0, 0, 0, 0, 0, 0, 0),
                            _mm256_and_si256(greys, _mm256_set1_epi8(7)));
    return _mm256_cmpeq_epi8(_mm256_and_si256(bits, bit), bit);
}

/// The greys of 32 pixels, if they are all neutral.
TRELLIS_AVX2 bool store_neutrals(const std::uint8_t* colour, std::uint8_t* mask) {
    const __m256i all =
        _mm256_and_si256(_mm256_and_si256(neutral(colour), neutral(colour + 32)),
                         _mm256_and_si256(neutral(colour + 64), neutral(colour + 96)));
    if (_mm256_movemask_epi8(all) != -1) {
        return false;
    }
    const __m256i greys = avx2::in_order(
        _mm256_packus_epi16(_mm256_packus_epi32(red(colour), red(colour + 32)),
                            _mm256_packus_epi32(red(colour + 64), red(colour + 96))));
    avx2::store(mask, _mm256_add_epi8(greys, falls_short(greys)));
    return true;
}

struct Quotients {
    __m256i hundredths;
    __m256i greys;
};

TRELLIS_AVX2 Quotients quotients(const std::uint8_t* colour) {
    const __m256i weights = _mm256_set1_epi32(30 << 24 | 59 << 16 | 11 << 8);
    const __m256i hundredths =
        _mm256_hadd_epi16(_mm256_maddubs_epi16(avx2::load(colour), weights),
                          _mm256_maddubs_epi16(avx2::load(colour + 32), weights));
    // ÷ 100, for numbers below 43698
    return {hundredths,
            _mm256_srli_epi16(_mm256_mulhi_epu16(hundredths, _mm256_set1_epi16(5243)), 3)};
}

TRELLIS_AVX2 __m256i whole(const Quotients& q) {
    return _mm256_cmpeq_epi16(_mm256_mullo_epi16(q.greys, _mm256_set1_epi16(100)), q.hundredths);
}

// Stores quotients, and lists the pixels that the rule itself must look at: a branch for each would
// keep the processor guessing. Grey pictures go another way, entered after 32 whole pixels.
TRELLIS_AVX2 std::size_t colour_to_mask_avx2(const std::uint8_t* colour, std::uint8_t* mask,
                                             std::size_t count) {
    constexpr std::size_t step = 32;
    constexpr std::size_t steps = 64;
    constexpr unsigned int all = 0xFFFFFFFF;
    bool neutral_before = false;
    std::size_t x = 0;
    while (x + step <= count) {
        struct {
            std::size_t at;
            unsigned int whole;
        } list[steps];
        std::size_t listed = 0;
        for (const std::size_t end = std::min(x + step * steps, count - step + 1); x < end;
             x += step) {
            if (neutral_before && store_neutrals(colour + 4 * x, mask + x)) {
                continue;
            }
            const Quotients first = quotients(colour + 4 * x);
            const Quotients next = quotients(colour + 4 * x + 64);
            avx2::store(mask + x, avx2::in_order(_mm256_packus_epi16(first.greys, next.greys)));
            const __m256i multiples = avx2::in_order(_mm256_packs_epi16(whole(first), whole(next)));
            const auto bits = static_cast<unsigned int>(_mm256_movemask_epi8(multiples));
            list[listed] = {x, bits};
            listed += bits != 0 ? 1 : 0;
            neutral_before = bits == all;
        }
        for (std::size_t i = 0; i < listed; ++i) {
            const std::size_t at = list[i].at;
            for (unsigned int bits = list[i].whole; bits != 0; bits &= bits - 1) {
                const std::size_t pixel = at + static_cast<std::size_t>(std::countr_zero(bits));
                const std::uint8_t* from = colour + 4 * pixel;
                mask[pixel] = grey(from[1], from[2], from[3]);
            }
        }
    }
    return x;
}

TRELLIS_AVX2 std::size_t mask_to_colour_avx2(const std::uint8_t* mask, std::uint8_t* colour,
                                             std::size_t count) {
    using L = Lanes<std::uint8_t>;
    std::size_t x = 0;
    for (; x + L::pixels <= count; x += L::pixels) {
        L::store_colour(colour + 4 * x, L::repeat(L::spread(avx2::load8(mask + x))));
    }
    return x;
}

TRELLIS_AVX2 std::size_t mask_to_colour_avx2(const std::uint16_t* mask, std::uint16_t* colour,
                                             std::size_t count) {
    // Eight mask samples are 24 words: a register and a half.
    const __m256i first = _mm256_setr_epi8(0, 1, 0, 1, 0, 1, 2, 3, 2, 3, 2, 3, 4, 5, 4, 5,  //
                                           4, 5, 6, 7, 6, 7, 6, 7, 8, 9, 8, 9, 8, 9, 10, 11);
    const __m128i rest =
        _mm_setr_epi8(10, 11, 10, 11, 12, 13, 12, 13, 12, 13, 14, 15, 14, 15, 14, 15);
    std::size_t x = 0;
    for (; x + 8 <= count; x += 8) {
        const __m128i greys = avx2::load16(mask + x);
        avx2::store(colour + 3 * x, _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(greys), first));
        avx2::store16(colour + 3 * x + 16, _mm_shuffle_epi8(greys, rest));
    }
    return x;
}

}  // namespace

template <class Sample>
void colour_to_mask(const Sample* colour, Sample* mask, std::size_t count) {
    for (std::size_t x = use_avx2() ? colour_to_mask_avx2(colour, mask, count) : 0; x < count;
         ++x) {
        const Sample* from =
            colour + Layout<Sample>::colour_samples * x + Layout<Sample>::first_colour;
        mask[x] = grey(from[0], from[1], from[2]);
    }
}

template <class Sample>
void mask_to_colour(const Sample* mask, Sample* colour, std::size_t count) {
    for (std::size_t x = use_avx2() ? mask_to_colour_avx2(mask, colour, count) : 0; x < count;
         ++x) {
        Sample* to = colour + Layout<Sample>::colour_samples * x + Layout<Sample>::first_colour;
        to[0] = to[1] = to[2] = mask[x];
    }
}

template void colour_to_mask(const std::uint8_t*, std::uint8_t*, std::size_t);
template void colour_to_mask(const std::uint16_t*, std::uint16_t*, std::size_t);
template void mask_to_colour(const std::uint8_t*, std::uint8_t*, std::size_t);
template void mask_to_colour(const std::uint16_t*, std::uint16_t*, std::size_t);

}  // namespace trellis::convert
