#include "pixels/back_ends.h"

#if TRELLIS_HAS_AVX2

#include <immintrin.h>

#include <algorithm>
#include <bit>
#include <cstring>

#include "pixels/layouts.h"
#include "pixels/plain.h"
#include "pixels/run_collector.h"

// The library is built for every x86 processor: each function here is marked TRELLIS_AVX2, and runs
// only where the table has been chosen. A kernel does the front of a row (where rows may grow in
// place, the back) and leaves the rest to the plain loop.

#define TRELLIS_AVX2 __attribute__((target("avx2")))

namespace trellis::pixels {

namespace {

TRELLIS_AVX2 __m256i load(const void* source) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(source));
}

TRELLIS_AVX2 void store(void* destination, __m256i value) {
    _mm256_storeu_si256(static_cast<__m256i*>(destination), value);
}

TRELLIS_AVX2 __m128i load16(const void* source) {
    return _mm_loadu_si128(static_cast<const __m128i*>(source));
}

TRELLIS_AVX2 void store16(void* destination, __m128i value) {
    _mm_storeu_si128(static_cast<__m128i*>(destination), value);
}

TRELLIS_AVX2 __m128i load8(const void* source) {
    return _mm_loadl_epi64(static_cast<const __m128i*>(source));
}

TRELLIS_AVX2 void store8(void* destination, __m128i value) {
    _mm_storel_epi64(static_cast<__m128i*>(destination), value);
}

/// The same byte shuffle within each half of 16 bytes.
TRELLIS_AVX2 __m256i pattern(char b0, char b1, char b2, char b3, char b4, char b5, char b6, char b7,
                             char b8, char b9, char b10, char b11, char b12, char b13, char b14,
                             char b15) {
    return _mm256_broadcastsi128_si256(
        _mm_setr_epi8(b0, b1, b2, b3, b4, b5, b6, b7, b8, b9, b10, b11, b12, b13, b14, b15));
}

/// Packing works within halves of 16 bytes. This puts what two packings have made of four registers
/// back in their order.
TRELLIS_AVX2 __m256i in_order(__m256i packed_twice) {
    return _mm256_permutevar8x32_epi32(packed_twice, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

// A vector register of cutout pixels: eight of 8-bit samples or four of 16-bit ones, each matte,
// blue, green, red. All kernels between shapes work on it, so only the loads and stores below know
// that colour pixels of 16 bits are three words long. Whichever the depth, the mattes of a register
// are eight bytes, those of four registers fill one. Loads and stores touch the named pixels only.

/// Neighbouring registers, which are enough for whole ones of mattes and colours.
struct Four {
    __m256i registers[4];
};

TRELLIS_AVX2 Four load_four(const void* cutout) {
    const auto* from = static_cast<const __m256i*>(cutout);
    return {{load(from), load(from + 1), load(from + 2), load(from + 3)}};
}

/// What `kept` has set of two registers, packed within halves of 16 bytes.
TRELLIS_AVX2 __m256i packed(__m256i first, __m256i second, __m256i kept) {
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
        return in_order(_mm256_packus_epi16(packed(first, second, matte_lanes()),
                                            packed(third, fourth, matte_lanes())));
    }

    /// Each matte repeated in the colours of its pixel.
    TRELLIS_AVX2 static __m256i repeat(__m256i cutout) {
        return _mm256_shuffle_epi8(cutout,
                                   pattern(0, 0, 0, 0, 4, 4, 4, 4, 8, 8, 8, 8, 12, 12, 12, 12));
    }

    /// Colour pixels; what the matte lanes hold is left open.
    TRELLIS_AVX2 static __m256i load_colour(const std::uint8_t* colour) { return load(colour); }

    /// The spare byte of each colour pixel keeps its value.
    TRELLIS_AVX2 static void store_colour(std::uint8_t* colour, __m256i cutout) {
        store(colour, _mm256_blendv_epi8(cutout, load(colour), matte_lanes()));
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
        return in_order(_mm256_packus_epi32(packed(first, second, matte_lanes()),
                                            packed(third, fourth, matte_lanes())));
    }

    TRELLIS_AVX2 static __m256i repeat(__m256i cutout) {
        return _mm256_shuffle_epi8(cutout, pattern(0, 1, 0, 1, 0, 1, 0, 1, 8, 9, 8, 9, 8, 9, 8, 9));
    }

    // Four pixels of three words are 24 bytes: two pixels go to each half of the register, the
    // latter two read from 4 bytes before them, so that nothing behind the last is read.
    TRELLIS_AVX2 static __m256i load_colour(const std::uint16_t* colour) {
        const __m256i spread =
            _mm256_setr_epi8(-1, -1, 0, 1, 2, 3, 4, 5, -1, -1, 6, 7, 8, 9, 10, 11, -1, -1, 4, 5, 6,
                             7, 8, 9, -1, -1, 10, 11, 12, 13, 14, 15);
        return _mm256_shuffle_epi8(_mm256_set_m128i(load16(colour + 4), load16(colour)), spread);
    }

    TRELLIS_AVX2 static void store_colour(std::uint16_t* colour, __m256i cutout) {
        const __m256i colours = pairs<0, 1, 2, 4, 5, 6, 7, 7>(cutout);
        store16(colour, _mm256_castsi256_si128(colours));
        store8(colour + 8, _mm256_extracti128_si256(colours, 1));
    }

    // The six pairs of words that each register has go to where they stand in the three registers
    // that they fill: those of the second and third in two pieces.
    TRELLIS_AVX2 static void store_colours(std::uint16_t* colour, const Four& cutouts) {
        const __m256i first = pairs<0, 1, 2, 4, 5, 6, 7, 7>(cutouts.registers[0]);
        const __m256i second = pairs<2, 4, 5, 6, 7, 7, 0, 1>(cutouts.registers[1]);
        const __m256i third = pairs<5, 6, 7, 7, 0, 1, 2, 4>(cutouts.registers[2]);
        const __m256i fourth = pairs<7, 7, 0, 1, 2, 4, 5, 6>(cutouts.registers[3]);
        store(colour, _mm256_blend_epi32(first, second, 0b11000000));
        store(colour + 16, _mm256_blend_epi32(second, third, 0b11110000));
        store(colour + 32, _mm256_blend_epi32(third, fourth, 0b11111100));
    }

  private:
    /// The colours of a register as pairs of words, in the order that is given: 0 to 2 are those of
    /// the first two pixels, 4 to 6 those of the others, 7 is none.
    template <int... order>
    TRELLIS_AVX2 static __m256i pairs(__m256i cutout) {
        const __m256i halves = _mm256_shuffle_epi8(
            cutout, pattern(2, 3, 4, 5, 6, 7, 10, 11, 12, 13, 14, 15, -1, -1, -1, -1));
        return _mm256_permutevar8x32_epi32(halves, _mm256_setr_epi32(order...));
    }
};

using Bytes = Lanes<std::uint8_t>;
using Words = Lanes<std::uint16_t>;

template <class Sample>
TRELLIS_AVX2 void join(const Sample* colour, const Sample* matte, Sample* cutout,
                       std::size_t count) {
    using L = Lanes<Sample>;
    const __m256i lanes = L::matte_lanes();
    std::size_t x = count;
    while (x >= L::pixels) {
        x -= L::pixels;
        const __m256i colours = L::load_colour(colour + Layout<Sample>::colour_samples * x);
        const __m256i mattes = matte == nullptr ? L::opaque() : L::spread(load8(matte + x));
        store(cutout + 4 * x, _mm256_blendv_epi8(colours, mattes, lanes));
    }
    plain::join(colour, matte, cutout, x);
}

template <class Sample>
TRELLIS_AVX2 void extract_colours(const Sample* cutout, Sample* colour, std::size_t count) {
    using L = Lanes<Sample>;
    std::size_t x = 0;
    for (; x + 4 * L::pixels <= count; x += 4 * L::pixels) {
        L::store_colours(colour + Layout<Sample>::colour_samples * x, load_four(cutout + 4 * x));
    }
    plain::extract_colours(cutout + 4 * x, colour + Layout<Sample>::colour_samples * x, count - x);
}

template <class Sample>
TRELLIS_AVX2 void insert_matte(const Sample* matte, Sample* cutout, std::size_t count) {
    using L = Lanes<Sample>;
    const __m256i lanes = L::matte_lanes();
    std::size_t x = 0;
    for (; x + L::pixels <= count; x += L::pixels) {
        const __m256i mattes = L::spread(load8(matte + x));
        store(cutout + 4 * x, _mm256_blendv_epi8(load(cutout + 4 * x), mattes, lanes));
    }
    plain::insert_matte(matte + x, cutout + 4 * x, count - x);
}

template <class Sample>
TRELLIS_AVX2 void extract_matte(const Sample* cutout, Sample* matte, std::size_t count) {
    using L = Lanes<Sample>;
    std::size_t x = 0;
    for (; x + 4 * L::pixels <= count; x += 4 * L::pixels) {
        store(matte + x, L::mattes(load_four(cutout + 4 * x)));
    }
    plain::extract_matte(cutout + 4 * x, matte + x, count - x);
}

/// One colour of four 16-bit pixels as doubles, by way of the bits of 2^52: its high word stands
/// behind the two pixels of each half, and a small whole number in its low word is added to it.
template <char colour>
TRELLIS_AVX2 __m256d doubles(__m256i pixels) {
    constexpr char low = 2 * colour;
    constexpr char high = 2 * colour + 1;
    const __m256i sums = _mm256_shuffle_epi8(
        pixels,
        pattern(low, high, -1, -1, -1, -1, 14, 15, low + 6, high + 6, -1, -1, -1, -1, 14, 15));
    return _mm256_sub_pd(_mm256_castsi256_pd(sums), _mm256_set1_pd(0x1p52));
}

/// The greys of four 16-bit pixels, by the very operations of grey() in its order. Reads two words
/// more than the pixels have.
TRELLIS_AVX2 __m128i exact_greys(const std::uint16_t* colour) {
    const __m256i pixels = _mm256_set_m128i(load16(colour + 6), load16(colour));
    const __m256i marked = _mm256_blend_epi16(pixels, _mm256_set1_epi16(0x4330), 0b10000000);
    const __m256d blue = _mm256_mul_pd(_mm256_set1_pd(0.11), doubles<0>(marked));
    const __m256d green = _mm256_mul_pd(_mm256_set1_pd(0.59), doubles<1>(marked));
    const __m256d red = _mm256_mul_pd(_mm256_set1_pd(0.3), doubles<2>(marked));
    return _mm256_cvttpd_epi32(_mm256_add_pd(_mm256_add_pd(blue, green), red));
}

TRELLIS_AVX2 void colour_to_mask(const std::uint16_t* colour, std::uint16_t* mask,
                                 std::size_t count) {
    std::size_t x = 0;
    // The last pixel is left, for it is what the kernel reads in part.
    for (; x + 8 < count; x += 8) {
        const __m128i first = exact_greys(colour + 3 * x);
        const __m128i next = exact_greys(colour + 3 * x + 12);
        store16(mask + x, _mm_packus_epi32(first, next));
    }
    plain::colour_to_mask(colour + 3 * x, mask + x, count - x);
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
    const __m256i pixels = load(colour);
    return _mm256_srai_epi32(_mm256_cmpeq_epi16(pixels, _mm256_slli_epi32(pixels, 8)), 16);
}

/// The same for 32 pixels, in a byte each.
TRELLIS_AVX2 __m256i neutrals(const std::uint8_t* colour) {
    return in_order(
        _mm256_packs_epi16(_mm256_packs_epi32(neutral(colour), neutral(colour + 32)),
                           _mm256_packs_epi32(neutral(colour + 64), neutral(colour + 96))));
}

TRELLIS_AVX2 __m256i reds(const std::uint8_t* colour) {
    const auto red = [colour](std::size_t at)
                         TRELLIS_AVX2 { return _mm256_srli_epi32(load(colour + at), 24); };
    return in_order(_mm256_packus_epi16(_mm256_packus_epi32(red(0), red(32)),
                                        _mm256_packus_epi32(red(64), red(96))));
}

/// −1 for each of 32 greys whose neutral colour falls short of them.
TRELLIS_AVX2 __m256i falls_short(__m256i greys) {
    const __m256i index = _mm256_and_si256(_mm256_srli_epi16(greys, 3), _mm256_set1_epi8(31));
    const __m256i low = _mm256_broadcastsi128_si256(load16(short_neutrals.bits));
    const __m256i high = _mm256_broadcastsi128_si256(load16(short_neutrals.bits + 16));
    const __m256i bits = _mm256_blendv_epi8(_mm256_shuffle_epi8(low, index),
                                            _mm256_shuffle_epi8(high, index), greys);
    const __m256i bit =
        _mm256_shuffle_epi8(pattern(1, 2, 4, 8, 16, 32, 64, -128, 0, 0, 0, 0, 0, 0, 0, 0),
                            _mm256_and_si256(greys, _mm256_set1_epi8(7)));
    return _mm256_cmpeq_epi8(_mm256_and_si256(bits, bit), bit);
}

struct Quotients {
    __m256i hundredths;
    __m256i greys;
};

TRELLIS_AVX2 Quotients quotients(const std::uint8_t* colour) {
    const __m256i weights = _mm256_set1_epi32(30 << 24 | 59 << 16 | 11 << 8);
    const __m256i hundredths = _mm256_hadd_epi16(_mm256_maddubs_epi16(load(colour), weights),
                                                 _mm256_maddubs_epi16(load(colour + 32), weights));
    // ÷ 100, for numbers below 43698
    return {hundredths,
            _mm256_srli_epi16(_mm256_mulhi_epu16(hundredths, _mm256_set1_epi16(5243)), 3)};
}

TRELLIS_AVX2 __m256i whole(const Quotients& q) {
    return _mm256_cmpeq_epi16(_mm256_mullo_epi16(q.greys, _mm256_set1_epi16(100)), q.hundredths);
}

// Stores quotients, and lists the pixels that the rule itself must look at: a branch for each would
// keep the processor guessing. Where there are more of them than chance has, neutral pixels are
// looked up, and a block that still has many goes to the plain loop.
TRELLIS_AVX2 void colour_to_mask(const std::uint8_t* colour, std::uint8_t* mask,
                                 std::size_t count) {
    constexpr std::size_t step = 32;
    constexpr std::size_t steps = 64;
    constexpr unsigned int all = 0xFFFFFFFF;
    constexpr int few = 4;
    bool expect_neutrals = false;
    std::size_t x = 0;
    while (x + step <= count) {
        struct {
            std::size_t at;
            unsigned int whole;
        } list[steps];
        std::size_t listed = 0;
        for (const std::size_t end = std::min(x + step * steps, count - step + 1); x < end;
             x += step) {
            const std::uint8_t* from = colour + 4 * x;
            const __m256i is_neutral = expect_neutrals ? neutrals(from) : _mm256_setzero_si256();
            const auto neutral_bits = static_cast<unsigned int>(_mm256_movemask_epi8(is_neutral));
            if (neutral_bits == all) {
                const __m256i greys = reds(from);
                store(mask + x, _mm256_add_epi8(greys, falls_short(greys)));
                continue;
            }
            const Quotients first = quotients(from);
            const Quotients next = quotients(from + 64);
            __m256i greys = in_order(_mm256_packus_epi16(first.greys, next.greys));
            if (expect_neutrals) {
                greys = _mm256_add_epi8(greys, _mm256_and_si256(is_neutral, falls_short(greys)));
            }
            store(mask + x, greys);
            const __m256i multiples = in_order(_mm256_packs_epi16(whole(first), whole(next)));
            const auto whole_bits = static_cast<unsigned int>(_mm256_movemask_epi8(multiples));
            expect_neutrals = std::popcount(whole_bits) > few;
            const unsigned int bits = whole_bits & ~neutral_bits;
            if (std::popcount(bits) > 2 * few) {
                plain::colour_to_mask(from, mask + x, step);
                continue;
            }
            list[listed] = {x, bits};
            listed += bits != 0 ? 1 : 0;
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
    plain::colour_to_mask(colour + 4 * x, mask + x, count - x);
}

TRELLIS_AVX2 void mask_to_colour(const std::uint8_t* mask, std::uint8_t* colour,
                                 std::size_t count) {
    std::size_t x = 0;
    for (; x + Bytes::pixels <= count; x += Bytes::pixels) {
        Bytes::store_colour(colour + 4 * x, Bytes::repeat(Bytes::spread(load8(mask + x))));
    }
    plain::mask_to_colour(mask + x, colour + 4 * x, count - x);
}

TRELLIS_AVX2 void mask_to_colour(const std::uint16_t* mask, std::uint16_t* colour,
                                 std::size_t count) {
    // Eight mask samples are 24 words: a register and a half.
    const __m256i first = _mm256_setr_epi8(0, 1, 0, 1, 0, 1, 2, 3, 2, 3, 2, 3, 4, 5, 4, 5,  //
                                           4, 5, 6, 7, 6, 7, 6, 7, 8, 9, 8, 9, 8, 9, 10, 11);
    const __m128i rest =
        _mm_setr_epi8(10, 11, 10, 11, 12, 13, 12, 13, 12, 13, 14, 15, 14, 15, 14, 15);
    std::size_t x = 0;
    for (; x + 8 <= count; x += 8) {
        const __m128i greys = load16(mask + x);
        store(colour + 3 * x, _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(greys), first));
        store16(colour + 3 * x + 16, _mm_shuffle_epi8(greys, rest));
    }
    plain::mask_to_colour(mask + x, colour + 3 * x, count - x);
}

/// Samples in 16-bit lanes.
TRELLIS_AVX2 __m256i widened(__m256i samples) {
    return _mm256_or_si256(_mm256_slli_epi16(samples, 6), _mm256_srli_epi16(samples, 2));
}
TRELLIS_AVX2 __m256i widened(__m128i bytes) {
    return widened(_mm256_cvtepu8_epi16(bytes));
}

// Packing works within halves of 16 bytes; the permutation puts the four groups back in order.
TRELLIS_AVX2 __m256i narrowed(__m256i a, __m256i b) {
    const __m256i byte = _mm256_set1_epi16(0xFF);
    const __m256i low = _mm256_and_si256(_mm256_srli_epi16(a, 6), byte);
    const __m256i high = _mm256_and_si256(_mm256_srli_epi16(b, 6), byte);
    return _mm256_permute4x64_epi64(_mm256_packus_epi16(low, high), 0b11011000);
}

TRELLIS_AVX2 void widen(const std::uint8_t* from, std::uint16_t* to, std::size_t count) {
    std::size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        store(to + i, widened(load16(from + i)));
    }
    plain::widen(from + i, to + i, count - i);
}

TRELLIS_AVX2 void narrow(const std::uint16_t* from, std::uint8_t* to, std::size_t count) {
    std::size_t i = 0;
    for (; i + 32 <= count; i += 32) {
        store(to + i, narrowed(load(from + i), load(from + i + 16)));
    }
    plain::narrow(from + i, to + i, count - i);
}

TRELLIS_AVX2 void widen_colours(const std::uint8_t* from, std::uint16_t* to, std::size_t count) {
    std::size_t x = 0;
    for (; x + 4 <= count; x += 4) {
        Words::store_colour(to + 3 * x, widened(load16(from + 4 * x)));
    }
    plain::widen_colours(from + 4 * x, to + 3 * x, count - x);
}

TRELLIS_AVX2 void narrow_colours(const std::uint16_t* from, std::uint8_t* to, std::size_t count) {
    std::size_t x = 0;
    for (; x + 8 <= count; x += 8) {
        const __m256i pixels =
            narrowed(Words::load_colour(from + 3 * x), Words::load_colour(from + 3 * x + 12));
        Bytes::store_colour(to + 4 * x, pixels);
    }
    plain::narrow_colours(from + 3 * x, to + 4 * x, count - x);
}

TRELLIS_AVX2 void widen_mattes(const std::uint8_t* cutout, std::uint16_t* matte,
                               std::size_t count) {
    const __m256i alpha = _mm256_set1_epi32(0xFF);
    std::size_t x = 0;
    for (; x + 16 <= count; x += 16) {
        const __m256i a = _mm256_and_si256(load(cutout + 4 * x), alpha);
        const __m256i b = _mm256_and_si256(load(cutout + 4 * x + 32), alpha);
        // Packing works within 16-byte halves; the permutation puts the four groups back in order.
        const __m256i words = _mm256_permute4x64_epi64(_mm256_packus_epi32(a, b), 0xD8);
        store(matte + x, widened(words));
    }
    plain::widen_mattes(cutout + 4 * x, matte + x, count - x);
}

// Whatever the host has set: floating-point operations round to nearest and raise nothing, so that
// a kernel may divide by zero.
class QuietFloatingPoint {
  public:
    QuietFloatingPoint() { _mm_setcsr(_MM_MASK_MASK); }
    ~QuietFloatingPoint() { _mm_setcsr(host_state_); }
    QuietFloatingPoint(const QuietFloatingPoint&) = delete;
    QuietFloatingPoint& operator=(const QuietFloatingPoint&) = delete;

  private:
    unsigned host_state_ = _mm_getcsr();
};

// (c × 255) ÷ n is c × m ÷ 65536, where m is the whole part of 255 × 65537 ÷ n: at most 256 ÷ n
// more than 255 × 65536 ÷ n, so that no byte c carries the product to the next whole number. Only
// the low byte of the quotient is wanted, the third one of the product. Each colour is multiplied
// in the place that brings this byte near its own: red, the fourth byte, one up. The quotient of a
// transparent pixel is out of range, which makes m 0x80000000 and leaves nothing of any byte.
TRELLIS_AVX2 void unpremultiply(std::uint8_t* cutout, std::size_t count) {
    const __m256i just_blue = pattern(1, -1, -1, -1, 5, -1, -1, -1, 9, -1, -1, -1, 13, -1, -1, -1);
    const __m256i just_green =
        pattern(2, -1, -1, -1, 6, -1, -1, -1, 10, -1, -1, -1, 14, -1, -1, -1);
    const __m256i red_one_up =
        pattern(-1, 3, -1, -1, -1, 7, -1, -1, -1, 11, -1, -1, -1, 15, -1, -1);
    const __m256i odd_bytes = _mm256_set1_epi16(-256);
    const QuietFloatingPoint quiet;
    std::size_t x = 0;
    for (; x + Bytes::pixels <= count; x += Bytes::pixels) {
        const __m256i pixels = load(cutout + 4 * x);
        const __m256i matte = _mm256_andnot_si256(pixels, Bytes::matte_lanes());
        // Numbers below 2^24: the division never rounds up to a whole number.
        const __m256i m = _mm256_cvttps_epi32(
            _mm256_div_ps(_mm256_set1_ps(255 * 65537), _mm256_cvtepi32_ps(matte)));
        const __m256i blue = _mm256_mullo_epi32(_mm256_shuffle_epi8(pixels, just_blue), m);
        const __m256i green = _mm256_mullo_epi32(_mm256_shuffle_epi8(pixels, just_green), m);
        const __m256i red = _mm256_mullo_epi32(_mm256_shuffle_epi8(pixels, red_one_up), m);
        const __m256i matte_and_blue =
            _mm256_blendv_epi8(matte, _mm256_srli_epi32(blue, 8), odd_bytes);
        const __m256i green_and_red = _mm256_blendv_epi8(green, red, odd_bytes);
        store(cutout + 4 * x, _mm256_blend_epi16(matte_and_blue, green_and_red, 0xAA));
    }
    plain::unpremultiply(cutout + 4 * x, count - x);
}

TRELLIS_AVX2 __m256i multiplied(__m256i samples, __m256i matte) {
    // A matte of 255 counts as 256, which the shift takes away again.
    const __m256i opaque = _mm256_cmpeq_epi16(matte, _mm256_set1_epi16(255));
    return _mm256_srli_epi16(_mm256_mullo_epi16(samples, _mm256_sub_epi16(matte, opaque)), 8);
}

TRELLIS_AVX2 void premultiply(std::uint8_t* cutout, std::size_t count) {
    const __m256i even = _mm256_set1_epi16(0xFF);
    const __m256i twice = pattern(0, -1, 0, -1, 4, -1, 4, -1, 8, -1, 8, -1, 12, -1, 12, -1);
    std::size_t x = 0;
    for (; x + Bytes::pixels <= count; x += Bytes::pixels) {
        const __m256i pixels = load(cutout + 4 * x);
        const __m256i matte = _mm256_shuffle_epi8(pixels, twice);
        const __m256i matte_and_green = multiplied(_mm256_and_si256(pixels, even), matte);
        const __m256i blue_and_red = multiplied(_mm256_srli_epi16(pixels, 8), matte);
        const __m256i colours =
            _mm256_or_si256(matte_and_green, _mm256_slli_epi16(blue_and_red, 8));
        const __m256i inverted = _mm256_xor_si256(pixels, _mm256_set1_epi8(-1));
        store(cutout + 4 * x, _mm256_blendv_epi8(colours, inverted, Bytes::matte_lanes()));
    }
    plain::premultiply(cutout + 4 * x, count - x);
}

TRELLIS_AVX2 __m256i load16_twice(const void* low, const void* high) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(load16(low)), load16(high), 1);
}

/// Where the bytes of each pixel lie that are samples: `first` is 0 or 1.
TRELLIS_AVX2 void expand(const std::uint8_t* samples, std::size_t first, std::uint8_t* row,
                         std::size_t count) {
    const __m256i spread = first == 0
                               ? pattern(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1)
                               : pattern(-1, 0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11);
    std::size_t x = 0;
    // A load takes 16 bytes where 12 are meant: two more pixels must follow.
    for (; x + 10 <= count; x += 8) {
        const __m256i both = load16_twice(samples + 3 * x, samples + 3 * x + 12);
        store(row + 4 * x, _mm256_shuffle_epi8(both, spread));
    }
    plain::expand(samples + 3 * x, first, row + 4 * x, count - x);
}

TRELLIS_AVX2 void pack(const std::uint8_t* row, std::size_t first, std::uint8_t* samples,
                       std::size_t count) {
    const __m256i squeeze = first == 0
                                ? pattern(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1)
                                : pattern(1, 2, 3, 5, 6, 7, 9, 10, 11, 13, 14, 15, -1, -1, -1, -1);
    std::size_t x = 0;
    // A store writes 16 bytes where 12 are meant: two more pixels must follow and overwrite them.
    for (; x + 10 <= count; x += 8) {
        const __m256i packed_pixels = _mm256_shuffle_epi8(load(row + 4 * x), squeeze);
        store16(samples + 3 * x, _mm256_castsi256_si128(packed_pixels));
        store16(samples + 3 * x + 12, _mm256_extracti128_si256(packed_pixels, 1));
    }
    plain::pack(row + 4 * x, first, samples + 3 * x, count - x);
}

/// The bytes of four registers whose 32-bit lanes are below 256.
TRELLIS_AVX2 __m256i lowest_bytes(__m256i a, __m256i b, __m256i c, __m256i d) {
    return in_order(_mm256_packus_epi16(_mm256_packus_epi32(a, b), _mm256_packus_epi32(c, d)));
}

TRELLIS_AVX2 void store_reversed(const std::uint8_t* row, std::uint8_t* colour, std::uint8_t* matte,
                                 const std::uint8_t* next, std::size_t count) {
    constexpr std::size_t step = 32;
    const __m256i reverse = pattern(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12);
    std::size_t x = 0;
    for (; x + step <= count; x += step) {
        const Four from = load_four(row + 4 * x);
        if (colour != nullptr) {
            _mm_prefetch(next + 4 * x, _MM_HINT_T0);
            _mm_prefetch(next + 4 * x + 64, _MM_HINT_T0);
            for (std::size_t i = 0; i < 4; ++i) {
                Bytes::store_colour(colour + 4 * x + 32 * i,
                                    _mm256_shuffle_epi8(from.registers[i], reverse));
            }
        }
        if (matte != nullptr) {
            const auto& [a, b, c, d] = from.registers;
            store(matte + x, lowest_bytes(_mm256_srli_epi32(a, 24), _mm256_srli_epi32(b, 24),
                                          _mm256_srli_epi32(c, 24), _mm256_srli_epi32(d, 24)));
        }
    }
    plain::store_reversed(row + 4 * x, colour == nullptr ? nullptr : colour + 4 * x,
                          matte == nullptr ? nullptr : matte + x, next, count - x);
}

TRELLIS_AVX2 void gather_reversed(const std::uint8_t* colour, const std::uint8_t* matte,
                                  const std::uint8_t* next, std::uint8_t* row, std::size_t count) {
    const __m256i reverse = pattern(3, 2, 1, -1, 7, 6, 5, -1, 11, 10, 9, -1, 15, 14, 13, -1);
    std::size_t x = 0;
    for (; x + 8 <= count; x += 8) {
        __m256i pixels = _mm256_setzero_si256();
        if (colour != nullptr) {
            _mm_prefetch(next + 4 * x, _MM_HINT_NTA);
            pixels = _mm256_shuffle_epi8(load(colour + 4 * x), reverse);
        }
        if (matte != nullptr) {
            const __m256i mattes = _mm256_cvtepu8_epi32(load8(matte + x));
            pixels = _mm256_or_si256(pixels, _mm256_slli_epi32(mattes, 24));
        }
        store(row + 4 * x, pixels);
    }
    plain::gather_reversed(colour == nullptr ? nullptr : colour + 4 * x,
                           matte == nullptr ? nullptr : matte + x, next, row + 4 * x, count - x);
}

TRELLIS_AVX2 void extract_plane(const std::uint8_t* row, std::size_t byte, std::uint8_t* plane,
                                std::size_t count) {
    const __m128i shift = _mm_cvtsi32_si128(static_cast<int>(8 * byte));
    const __m256i lowest = _mm256_set1_epi32(0xFF);
    std::size_t x = 0;
    for (; x + 32 <= count; x += 32) {
        Four from = load_four(row + 4 * x);
        for (__m256i& pixels : from.registers) {
            pixels = _mm256_and_si256(_mm256_srl_epi32(pixels, shift), lowest);
        }
        const auto& [a, b, c, d] = from.registers;
        store(plane + x, lowest_bytes(a, b, c, d));
    }
    plain::extract_plane(row + 4 * x, byte, plane + x, count - x);
}

// Rows of a tile lie far apart in the host's buffers, too far for the processor to see them coming.
constexpr std::size_t rows_ahead = 8;

/// 32 bytes of each plane as pixels.
TRELLIS_AVX2 Four join_registers(__m256i alpha, __m256i blue, __m256i green, __m256i red) {
    const __m256i pairs_low = _mm256_unpacklo_epi8(alpha, blue);
    const __m256i pairs_high = _mm256_unpackhi_epi8(alpha, blue);
    const __m256i others_low = _mm256_unpacklo_epi8(green, red);
    const __m256i others_high = _mm256_unpackhi_epi8(green, red);
    // Pixels 0-3 and 16-19, 4-7 and 20-23, 8-11 and 24-27, 12-15 and 28-31.
    const __m256i a = _mm256_unpacklo_epi16(pairs_low, others_low);
    const __m256i b = _mm256_unpackhi_epi16(pairs_low, others_low);
    const __m256i c = _mm256_unpacklo_epi16(pairs_high, others_high);
    const __m256i d = _mm256_unpackhi_epi16(pairs_high, others_high);
    return {{_mm256_permute2x128_si256(a, b, 0x20), _mm256_permute2x128_si256(c, d, 0x20),
             _mm256_permute2x128_si256(a, b, 0x31), _mm256_permute2x128_si256(c, d, 0x31)}};
}

TRELLIS_AVX2 void join_planes(const Planes& planes, std::uint8_t* cutout, std::size_t count) {
    std::size_t x = 0;
    for (; x + 32 <= count; x += 32) {
        const __m256i zero = _mm256_setzero_si256();
        const __m256i alpha = planes.alpha == nullptr ? zero : load(planes.alpha + x);
        const bool colour = planes.blue != nullptr;
        const Four joined = join_registers(alpha, colour ? load(planes.blue + x) : zero,
                                           colour ? load(planes.green + x) : zero,
                                           colour ? load(planes.red + x) : zero);
        for (std::size_t i = 0; i < 4; ++i) {
            store(cutout + 4 * x + 32 * i, joined.registers[i]);
        }
    }
    plain::join_planes(planes.from(x, 0), cutout + 4 * x, count - x);
}

TRELLIS_AVX2 void store_colour_planes(const Planes& planes, std::size_t y, std::size_t end,
                                      ByteRows colour) {
    const __m256i spare = _mm256_set1_epi32(0xFF);
    std::uint8_t* to = colour.row(y);
    const std::ptrdiff_t ahead = colour.row(y + rows_ahead) - to;
    for (std::size_t from = y * planes.pitch; from < y * planes.pitch + end; from += 32) {
        __builtin_prefetch(to + ahead, 1);
        __builtin_prefetch(to + ahead + 64, 1);
        const Four joined = join_registers(spare, load(planes.blue + from),
                                           load(planes.green + from), load(planes.red + from));
        for (const __m256i pixels : joined.registers) {
            Bytes::store_colour(to, pixels);
            to += sizeof pixels;
        }
    }
}

TRELLIS_AVX2 void store_matte_plane(const Planes& planes, std::size_t y, std::size_t end,
                                    ByteRows matte) {
    std::uint8_t* to = matte.row(y);
    __builtin_prefetch(matte.row(y + rows_ahead), 1);
    for (std::size_t x = 0; x < end; x += 32) {
        store(to + x, load(planes.alpha + y * planes.pitch + x));
    }
}

TRELLIS_AVX2 void store_planes(const Planes& planes, std::size_t width, std::size_t height,
                               ByteRows colour, ByteRows matte) {
    const std::size_t end = width / 32 * 32;
    for (std::size_t y = 0; y < height; ++y) {
        if (colour.bytes != nullptr) {
            store_colour_planes(planes, y, end, colour);
        }
        if (matte.bytes != nullptr) {
            store_matte_plane(planes, y, end, matte);
        }
    }
    if (end < width) {
        const auto from = [end](ByteRows rows, std::size_t size) {
            return rows.bytes == nullptr ? rows : ByteRows{rows.bytes + size * end, rows.pitch};
        };
        plain::store_planes(planes.from(end, 0), width - end, height, from(colour, 4),
                            from(matte, 1));
    }
}

constexpr std::uint32_t code_mask = 1023;

// Where a sample of a pixel is: two bytes that hold it, most significant first, and the power of
// two that moves its highest bit to the top of the 16. A byte number of −1 is a zero byte, and a
// sample without bytes is 0.
struct SamplePlace {
    std::int8_t high = -1;
    std::int8_t low = -1;
    std::int16_t scale = 1;
};

// The k-th ten-bit code of a big-endian group starts 2k bits into byte k.
constexpr SamplePlace code_place(int k) {
    return {static_cast<std::int8_t>(k), static_cast<std::int8_t>(k + 1),
            static_cast<std::int16_t>(1 << (2 * k))};
}

constexpr SamplePlace little_endian_code_place(int k) {
    return {static_cast<std::int8_t>(3 - k), static_cast<std::int8_t>(2 - k),
            static_cast<std::int16_t>(1 << (2 * k))};
}

constexpr SamplePlace byte_place(int k) {
    return {-1, static_cast<std::int8_t>(k), 256};
}

constexpr SamplePlace half_place(int k) {
    return {static_cast<std::int8_t>(2 * k), static_cast<std::int8_t>(2 * k + 1), 1};
}

constexpr SamplePlace little_endian_half_place(int k) {
    return {static_cast<std::int8_t>(2 * k + 1), static_cast<std::int8_t>(2 * k), 1};
}

// Two pixels as they leave a kernel step: the byte shuffle and the scales that make
// c0 c1 c2 c0 c1 c2 matte matte of their packed bytes.
struct UnpackPattern {
    std::int8_t shuffle[16] = {};
    std::int16_t scale[8] = {};

    constexpr UnpackPattern(int size, SamplePlace c0, SamplePlace c1, SamplePlace c2,
                            SamplePlace matte) {
        const SamplePlace places[] = {c0, c1, c2, c0, c1, c2, matte, matte};
        for (int i = 0; i < 8; ++i) {
            const bool second = i >= 3 && i != 6;
            const int base = second ? size : 0;
            const SamplePlace& place = places[i];
            shuffle[2 * i] = static_cast<std::int8_t>(place.low < 0 ? -1 : base + place.low);
            shuffle[2 * i + 1] = static_cast<std::int8_t>(place.high < 0 ? -1 : base + place.high);
            scale[i] = place.scale;
        }
    }
};

using Place = SamplePlace (*)(int k);

constexpr UnpackPattern colours(int size, Place place) {
    return {size, place(2), place(1), place(0), {}};
}

constexpr UnpackPattern cutouts(int size, Place place) {
    return {size, place(2), place(1), place(0), place(3)};
}

// In the order of FilmLayout.
constexpr UnpackPattern patterns[film_layout_count] = {
    {0, {}, {}, {}, {}},
    {1, {}, {}, {}, byte_place(0)},
    colours(3, byte_place),
    cutouts(4, byte_place),
    {2, {}, {}, {}, code_place(0)},
    colours(4, code_place),
    colours(4, little_endian_code_place),
    cutouts(5, code_place),
    colours(6, half_place),
    colours(6, little_endian_half_place),
    cutouts(8, half_place),
    cutouts(8, little_endian_half_place),
    colours(6, half_place),
    colours(6, little_endian_half_place),
    cutouts(8, half_place),
    cutouts(8, little_endian_half_place),
};

/// Codes at the top of 16 bits, with anything below them, scaled as plain.cpp does. Twice the whole
/// steps and twice what is left, cut off to a whole number, are halved together, which rounds.
template <int bits>
TRELLIS_AVX2 __m256i scaled(__m256i topped) {
    if constexpr (bits == 16) {
        const __m256i less = _mm256_mulhi_epu16(topped, _mm256_set1_epi16(3));
        const __m256i halves =
            _mm256_avg_epu16(_mm256_sub_epi16(topped, less), _mm256_setzero_si256());
        return _mm256_srli_epi16(halves, 1);
    } else {
        constexpr std::uint32_t greatest = (1U << bits) - 1;
        constexpr int fraction = bits + 2;  // as many bits as the product has room for
        constexpr std::uint32_t most_left = ((1U << (14 - bits)) - 1) << (fraction + bits);
        constexpr auto factor = static_cast<std::uint16_t>((most_left + greatest / 2) / greatest);
        const __m256i codes = _mm256_and_si256(
            topped, _mm256_set1_epi16(static_cast<short>(greatest << (16 - bits))));
        const __m256i left =
            _mm256_mulhi_epu16(codes, _mm256_set1_epi16(static_cast<short>(factor)));
        return _mm256_avg_epu16(_mm256_srli_epi16(codes, 1), _mm256_srli_epi16(left, fraction - 1));
    }
}

/// The same codes as they are, or scaled.
template <int bits, FilmCodes wanted>
TRELLIS_AVX2 __m256i samples_of(__m256i topped) {
    return wanted == FilmCodes::kept ? _mm256_srli_epi16(topped, 16 - bits) : scaled<bits>(topped);
}

/// Asks for the samples that a save comes to 3 KiB later. They are read once, so they are to pass
/// by the second-level cache, where the packed lines wait for the file.
TRELLIS_AVX2 void prefetch_once(const std::uint16_t* samples) {
    _mm_prefetch(reinterpret_cast<const char*>(samples + 1536), _MM_HINT_NTA);
}

/// The even 32-bit words, or the odd ones, of each half of two registers.
TRELLIS_AVX2 __m256i even_words(__m256i first, __m256i second) {
    return _mm256_castps_si256(
        _mm256_shuffle_ps(_mm256_castsi256_ps(first), _mm256_castsi256_ps(second), 0x88));
}
TRELLIS_AVX2 __m256i odd_words(__m256i first, __m256i second) {
    return _mm256_castps_si256(
        _mm256_shuffle_ps(_mm256_castsi256_ps(first), _mm256_castsi256_ps(second), 0xDD));
}

// Four pixels a step. A step loads and stores whole vectors, more than its own pixels, so it is
// taken only while the row has enough pixels left; those behind the step are stored again later.
template <int bits, FilmCodes codes, bool with_colour, bool with_matte>
TRELLIS_AVX2 std::size_t unpack_pixels(FilmLayout layout, const std::uint8_t* bytes,
                                       std::size_t count, std::uint16_t* colour,
                                       std::uint16_t* matte) {
    const std::size_t size = pixel_size(layout);
    const UnpackPattern& unpacking = patterns[static_cast<std::size_t>(layout)];
    // The pixels that the second load reaches into, and the six that a store of colour does.
    const std::size_t needed = std::max<std::size_t>((2 * size + 16 + size - 1) / size, 6);
    const __m256i shuffle = _mm256_broadcastsi128_si256(load16(unpacking.shuffle));
    const __m256i scale = _mm256_broadcastsi128_si256(load16(unpacking.scale));
    const __m256i colours_first = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7);
    std::size_t x = 0;
    for (; x + needed <= count; x += 4) {
        const std::uint8_t* from = bytes + size * x;
        const __m256i pairs = _mm256_shuffle_epi8(load16_twice(from, from + 2 * size), shuffle);
        const __m256i samples = samples_of<bits, codes>(_mm256_mullo_epi16(pairs, scale));
        const __m256i sorted = _mm256_permutevar8x32_epi32(samples, colours_first);
        if (with_colour) {
            store(colour + 3 * x, sorted);
        }
        if (with_matte) {
            const __m128i mattes = _mm256_extracti128_si256(sorted, 1);
            _mm_storel_epi64(reinterpret_cast<__m128i*>(matte + x), _mm_srli_si128(mattes, 8));
        }
    }
    return x;
}

// Eight pixels a step. A multiply-add puts the two lower codes of a word in their places, a shift
// the upper one; then the bytes of each word are reversed.
TRELLIS_AVX2 std::size_t pack_words(const std::uint16_t* colour, std::size_t count,
                                    std::uint8_t* bytes) {
    // Lanes are c0, c1, c2 and nothing.
    const __m256i spread = pattern(0, 1, 2, 3, 4, 5, -1, -1, 6, 7, 8, 9, 10, 11, -1, -1);
    const __m256i reverse = pattern(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12);
    const __m256i mask = _mm256_set1_epi16(code_mask);
    const __m256i places = _mm256_set1_epi32(1 << 28 | 1 << 2);
    std::size_t x = 0;
    for (; x + 9 <= count; x += 8) {
        const std::uint16_t* from = colour + 3 * x;
        prefetch_once(from);
        const __m256i pixels0145 = _mm256_shuffle_epi8(load16_twice(from, from + 12), spread);
        const __m256i pixels2367 = _mm256_shuffle_epi8(load16_twice(from + 6, from + 18), spread);
        const __m256i lower = even_words(pixels0145, pixels2367);
        const __m256i upper = odd_words(pixels0145, pixels2367);
        const __m256i words = _mm256_or_si256(
            _mm256_madd_epi16(_mm256_and_si256(lower, mask), places), _mm256_slli_epi32(upper, 22));
        store(bytes + 4 * x, _mm256_shuffle_epi8(words, reverse));
    }
    return x;
}

// Groups of five bytes, four pixels a step, as 64-bit lanes. Two multiply-adds join the four codes
// of a lane into the two halves of a 40-bit group, shifts bring the halves together, and the byte
// shuffle reverses the group.
template <bool with_colour, bool with_matte>
TRELLIS_AVX2 std::size_t pack_groups(const std::uint16_t* colour, const std::uint16_t* matte,
                                     std::size_t count, std::uint8_t* bytes) {
    // Lanes are c0, matte, c1, c2.
    const __m256i spread_colour = pattern(0, 1, -1, -1, 2, 3, 4, 5, 6, 7, -1, -1, 8, 9, 10, 11);
    const __m256i spread_matte =
        _mm256_setr_epi8(-1, -1, 0, 1, -1, -1, -1, -1, -1, -1, 2, 3, -1, -1, -1, -1,  //
                         -1, -1, 4, 5, -1, -1, -1, -1, -1, -1, 6, 7, -1, -1, -1, -1);
    const __m256i mask = _mm256_set1_epi16(code_mask);
    const __m256i join = _mm256_set1_epi64x(0x0400'0001'0001'0400);
    const __m256i close_gap = _mm256_set1_epi64x(12);  // the lower half ends where the upper begins
    const __m256i reverse = pattern(6, 5, 4, 3, 2, 14, 13, 12, 11, 10, -1, -1, -1, -1, -1, -1);
    std::size_t x = 0;
    for (; x + 6 <= count; x += 4) {
        __m256i codes = _mm256_setzero_si256();
        if (with_colour) {
            const std::uint16_t* from = colour + 3 * x;
            prefetch_once(from);
            codes = _mm256_shuffle_epi8(load16_twice(from, from + 6), spread_colour);
        }
        if (with_matte) {
            codes = _mm256_or_si256(
                codes,
                _mm256_shuffle_epi8(_mm256_broadcastq_epi64(load8(matte + x)), spread_matte));
        }
        const __m256i halves = _mm256_madd_epi16(_mm256_and_si256(codes, mask), join);
        const __m256i groups = _mm256_slli_epi64(_mm256_sllv_epi32(halves, close_gap), 4);
        const __m256i packed = _mm256_shuffle_epi8(groups, reverse);
        store16(bytes + 5 * x, _mm256_castsi256_si128(packed));
        store16(bytes + 5 * x + 10, _mm256_extracti128_si256(packed, 1));
    }
    return x;
}

// Sixteen samples a step: each is the upper ten bits of two bytes, most significant first.
TRELLIS_AVX2 __m256i swap_bytes(__m256i words) {
    const __m256i swap = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14));
    return _mm256_shuffle_epi8(words, swap);
}

template <FilmCodes codes>
TRELLIS_AVX2 std::size_t unpack_mask(const std::uint8_t* bytes, std::size_t count,
                                     std::uint16_t* matte) {
    std::size_t x = 0;
    for (; x + 16 <= count; x += 16) {
        store(matte + x, samples_of<10, codes>(swap_bytes(load(bytes + 2 * x))));
    }
    return x;
}

TRELLIS_AVX2 std::size_t pack_mask(const std::uint16_t* matte, std::size_t count,
                                   std::uint8_t* bytes) {
    const __m256i field = _mm256_set1_epi16(static_cast<short>(code_mask << 6));
    std::size_t x = 0;
    for (; x + 16 <= count; x += 16) {
        // Down by four and up by six.
        const __m256i shifted = _mm256_slli_epi16(load(matte + x), 2);
        store(bytes + 2 * x, swap_bytes(_mm256_and_si256(shifted, field)));
    }
    return x;
}

template <int bits, FilmCodes codes>
std::size_t unpack_front(FilmLayout layout, const std::uint8_t* bytes, std::size_t count,
                         std::uint16_t* colour, std::uint16_t* matte) {
    if (colour == nullptr && layout == FilmLayout::mask10) {
        return unpack_mask<codes>(bytes, count, matte);
    }
    const auto unpack = colour == nullptr  ? unpack_pixels<bits, codes, false, true>
                        : matte == nullptr ? unpack_pixels<bits, codes, true, false>
                                           : unpack_pixels<bits, codes, true, true>;
    return unpack(layout, bytes, count, colour, matte);
}

using UnpackFront = std::size_t (*)(FilmLayout, const std::uint8_t*, std::size_t, std::uint16_t*,
                                    std::uint16_t*);

template <FilmCodes codes>
UnpackFront front_of(int bits) {
    switch (bits) {
        case 8:
            return unpack_front<8, codes>;
        case 10:
            return unpack_front<10, codes>;
        case 12:
            return unpack_front<12, codes>;
        default:
            return unpack_front<16, codes>;
    }
}

void unpack_film(FilmLayout layout, FilmCodes codes, const std::uint8_t* bytes, std::size_t count,
                 std::uint16_t* colour, std::uint16_t* matte) {
    if (colour == nullptr && matte == nullptr) {
        return;
    }
    const int bits = code_bits(layout);
    const UnpackFront front = codes == FilmCodes::kept ? front_of<FilmCodes::kept>(bits)
                                                       : front_of<FilmCodes::scaled>(bits);
    const std::size_t x = front(layout, bytes, count, colour, matte);
    plain::unpack_film(layout, codes, bytes + pixel_size(layout) * x, count - x,
                       colour == nullptr ? nullptr : colour + 3 * x,
                       matte == nullptr ? nullptr : matte + x);
}

std::size_t pack_front(FilmLayout layout, const std::uint16_t* colour, const std::uint16_t* matte,
                       std::size_t count, std::uint8_t* bytes) {
    if (layout == FilmLayout::mask10) {
        return matte == nullptr ? 0 : pack_mask(matte, count, bytes);
    }
    if (layout == FilmLayout::colour10) {
        return colour == nullptr ? 0 : pack_words(colour, count, bytes);
    }
    if (colour == nullptr) {
        return matte == nullptr ? 0 : pack_groups<false, true>(colour, matte, count, bytes);
    }
    return matte == nullptr ? pack_groups<true, false>(colour, matte, count, bytes)
                            : pack_groups<true, true>(colour, matte, count, bytes);
}

void pack_film(FilmLayout layout, const std::uint16_t* colour, const std::uint16_t* matte,
               std::size_t count, std::uint8_t* bytes) {
    const std::size_t x = pack_front(layout, colour, matte, count, bytes);
    plain::pack_film(layout, colour == nullptr ? nullptr : colour + 3 * x,
                     matte == nullptr ? nullptr : matte + x, count - x,
                     bytes + pixel_size(layout) * x);
}

// Where three equal bytes begin, of 32.
TRELLIS_AVX2 std::uint64_t triples(const std::uint8_t* bytes) {
    const __m256i first = load(bytes);
    const __m256i equal = _mm256_and_si256(_mm256_cmpeq_epi8(first, load(bytes + 1)),
                                           _mm256_cmpeq_epi8(first, load(bytes + 2)));
    return static_cast<std::uint32_t>(_mm256_movemask_epi8(equal));
}

TRELLIS_AVX2 std::size_t find_byte_runs(const std::uint8_t* bytes, std::size_t size, Run* runs) {
    RunCollector collector(runs, 2);
    std::size_t at = 0;
    for (; at + 64 + 2 <= size; at += 64) {
        collector.add(triples(bytes + at) | triples(bytes + at + 32) << 32, at);
    }
    collector.add(plain::triples(bytes + at, size - at), at);
    return collector.count();
}

TRELLIS_AVX2 std::size_t find_pixel_runs(const std::uint8_t* row, std::size_t count, Run* runs) {
    RunCollector collector(runs, 1);
    std::size_t at = 0;
    for (; at + 64 + 1 <= count; at += 64) {
        std::uint64_t mask = 0;
        for (std::size_t i = 0; i < 64; i += 8) {
            const std::uint8_t* from = row + 4 * (at + i);
            const __m256i equal = _mm256_cmpeq_epi32(load(from), load(from + 4));
            const int places = _mm256_movemask_ps(_mm256_castsi256_ps(equal));
            mask |= static_cast<std::uint64_t>(places) << i;
        }
        collector.add(mask, at);
    }
    collector.add(plain::pairs(row + 4 * at, count - at), at);
    return collector.count();
}

TRELLIS_AVX2 std::size_t find_run_end(const std::uint8_t* bytes, std::size_t from, std::size_t size,
                                      std::uint8_t value) {
    const __m256i values = _mm256_set1_epi8(static_cast<char>(value));
    for (; from + sizeof(__m256i) <= size; from += sizeof(__m256i)) {
        const __m256i equal = _mm256_cmpeq_epi8(values, load(bytes + from));
        const auto mask = ~static_cast<std::uint32_t>(_mm256_movemask_epi8(equal));
        if (mask != 0) {
            return from + static_cast<std::size_t>(std::countr_zero(mask));
        }
    }
    return plain::find_run_end(bytes, from, size, value);
}

// Stores one value or a literal in steps, the first of them in any case.
TRELLIS_AVX2 void store_in_steps(std::uint8_t* to, std::size_t count, __m256i value) {
    store(to, value);
    for (std::size_t x = sizeof value; x < count; x += sizeof value) {
        store(to + x, value);
    }
}

TRELLIS_AVX2 void copy_in_steps(std::uint8_t* to, std::size_t count, const std::uint8_t* from) {
    store(to, load(from));
    for (std::size_t x = sizeof(__m256i); x < count; x += sizeof(__m256i)) {
        store(to + x, load(from + x));
    }
}

// Whether a literal or a run comes next is not to be foreseen, but a run follows nearly every
// literal: each step makes both, the literal perhaps of no bytes. Long runs mostly come together,
// and have a step of their own.
TRELLIS_AVX2 Decoded decode_packets(const std::uint8_t* packets, std::size_t size,
                                    std::uint8_t* bytes, std::size_t room) {
    constexpr std::uint8_t run_flag = 128;
    constexpr std::uint8_t long_run = run_flag + 11;
    constexpr std::ptrdiff_t most_read = 1 + 128 + 2;
    constexpr std::ptrdiff_t most_written = 128 + 128;
    const std::uint8_t* from = packets;
    const std::uint8_t* const from_end = packets + size;
    std::uint8_t* to = bytes;
    std::uint8_t* const to_end = bytes + room;
    while (from_end - from >= most_read && to_end - to >= most_written) {
        const std::size_t header = from[0];
        if (header >= long_run) {
            store_in_steps(to, header - 127, _mm256_set1_epi8(static_cast<char>(from[1])));
            to += header - 127;
            from += 2;
            continue;
        }
        const std::size_t literal_mask = header < run_flag ? SIZE_MAX : 0;
        const std::size_t literal = (header + 1) & literal_mask;
        copy_in_steps(to, literal, from + 1);
        to += literal;
        from += (header + 2) & literal_mask;
        if (from[0] < run_flag) {
            continue;
        }
        const std::size_t run = from[0] - std::size_t{127};
        store_in_steps(to, run, _mm256_set1_epi8(static_cast<char>(from[1])));
        to += run;
        from += 2;
    }
    const Decoded rest = plain::decode_packets(from, static_cast<std::size_t>(from_end - from), to,
                                               static_cast<std::size_t>(to_end - to));
    return {static_cast<std::size_t>(from - packets) + rest.read,
            static_cast<std::size_t>(to - bytes) + rest.written};
}

template <class Sample>
constexpr Shapes<Sample> shapes = {
    .join = join,
    .extract_colours = extract_colours,
    .extract_matte = extract_matte,
    .insert_matte = insert_matte,
    .colour_to_mask = colour_to_mask,
    .mask_to_colour = mask_to_colour,
};

}  // namespace

constexpr Kernels avx2_kernels = {
    .name = "avx2",
    .bytes = shapes<std::uint8_t>,
    .words = shapes<std::uint16_t>,
    .widen = widen,
    .narrow = narrow,
    .widen_colours = widen_colours,
    .narrow_colours = narrow_colours,
    .widen_mattes = widen_mattes,
    .unpremultiply = unpremultiply,
    .premultiply = premultiply,
    .expand = expand,
    .pack = pack,
    .store_reversed = store_reversed,
    .gather_reversed = gather_reversed,
    .extract_plane = extract_plane,
    .join_planes = join_planes,
    .store_planes = store_planes,
    .unpack_film = unpack_film,
    .pack_film = pack_film,
    .transpose = plain::transpose,
    .find_byte_runs = find_byte_runs,
    .find_pixel_runs = find_pixel_runs,
    .find_run_end = find_run_end,
    .decode_packets = decode_packets,
};

}  // namespace trellis::pixels

#endif  // TRELLIS_HAS_AVX2
