#include "formats/dpx/ten_bit.h"

#include <cstring>

#include "frame/avx2.h"
#include "frame/cpu.h"

// Each direction has a plain loop that reads like the description of the layouts, and one vector
// kernel for all layouts that does the front of the row and leaves the rest to the loop.

namespace trellis::dpx {

namespace {

struct Pixel {
    std::uint32_t c0 = 0;
    std::uint32_t c1 = 0;
    std::uint32_t c2 = 0;
    std::uint32_t matte = 0;
};

constexpr std::uint32_t code_mask = 1023;

Pixel from_word(std::uint32_t word) {
    return {(word >> 2) & code_mask, (word >> 12) & code_mask, word >> 22, 0};
}

std::uint32_t to_word(const Pixel& pixel) {
    return (pixel.c2 & code_mask) << 22 | (pixel.c1 & code_mask) << 12 |
           (pixel.c0 & code_mask) << 2;
}

std::uint32_t word_at(const std::uint8_t* bytes) {
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
           std::uint32_t{bytes[2]} << 8 | bytes[3];
}

template <Layout layout>
Pixel decode(const std::uint8_t* bytes) {
    switch (layout) {
        case Layout::mask8:
            return {0, 0, 0, bytes[0]};
        case Layout::colour8:
            return {bytes[2], bytes[1], bytes[0], 0};
        case Layout::cutout8:
            return {bytes[2], bytes[1], bytes[0], bytes[3]};
        case Layout::mask10:
            return {0, 0, 0, (bytes[0] * 256U + bytes[1]) >> 6};
        case Layout::colour10:
            return from_word(word_at(bytes));
        case Layout::colour10_little:
            return from_word(__builtin_bswap32(word_at(bytes)));
        case Layout::cutout10: {
            Pixel pixel = from_word(word_at(bytes));
            pixel.matte = (bytes[3] & 3U) << 8 | bytes[4];
            return pixel;
        }
        default:
            return {};
    }
}

template <Mode mode>
void encode(const Pixel& pixel, std::uint8_t* bytes) {
    if (mode == Mode::mask) {
        const std::uint32_t code = (pixel.matte >> 4) & code_mask;
        bytes[0] = static_cast<std::uint8_t>(code >> 2);
        bytes[1] = static_cast<std::uint8_t>((code & 3) << 6);
        return;
    }
    std::uint32_t word = to_word(pixel);
    if (mode == Mode::cutout) {
        word |= (pixel.matte >> 8) & 3;
        bytes[4] = static_cast<std::uint8_t>(pixel.matte);
    }
    for (int i = 0; i < 4; ++i) {
        bytes[i] = static_cast<std::uint8_t>(word >> (24 - 8 * i));
    }
}

template <Layout layout, std::size_t size>
void unpack_plain(const std::uint8_t* bytes, std::size_t first, std::size_t count,
                  std::uint16_t* colour, std::uint16_t* matte) {
    for (std::size_t i = first; i < count; ++i) {
        const Pixel pixel = decode<layout>(bytes + size * i);
        if (colour != nullptr) {
            colour[3 * i] = static_cast<std::uint16_t>(pixel.c0);
            colour[3 * i + 1] = static_cast<std::uint16_t>(pixel.c1);
            colour[3 * i + 2] = static_cast<std::uint16_t>(pixel.c2);
        }
        if (matte != nullptr) {
            matte[i] = static_cast<std::uint16_t>(pixel.matte);
        }
    }
}

template <Mode mode, std::size_t size>
void pack_plain(const std::uint16_t* colour, const std::uint16_t* matte, std::size_t first,
                std::size_t count, std::uint8_t* bytes) {
    for (std::size_t i = first; i < count; ++i) {
        Pixel pixel;
        if (colour != nullptr) {
            pixel = {colour[3 * i], colour[3 * i + 1], colour[3 * i + 2], 0};
        }
        if (matte != nullptr) {
            pixel.matte = matte[i];
        }
        encode<mode>(pixel, bytes + size * i);
    }
}

// Where a sample of a pixel stands, for the vector kernel: two bytes that hold it, most significant
// first, and the power of two that moves its highest bit to the top of the 16. A byte number of −1
// is a zero byte, and a sample without bytes is 0.
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

// An 8-bit sample is a code with six bits before and after.
constexpr SamplePlace byte_place(int k) {
    return {-1, static_cast<std::int8_t>(k), 64};
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

using PlainUnpack = void (*)(const std::uint8_t*, std::size_t, std::size_t, std::uint16_t*,
                             std::uint16_t*);

struct LayoutEntry {
    std::size_t size;
    PlainUnpack unpack_plain;
    UnpackPattern pattern;
};

// In the order of Layout.
constexpr LayoutEntry layouts[layout_count] = {
    {0, unpack_plain<Layout::none, 0>, {0, {}, {}, {}, {}}},
    {1, unpack_plain<Layout::mask8, 1>, {1, {}, {}, {}, byte_place(0)}},
    {3, unpack_plain<Layout::colour8, 3>, {3, byte_place(2), byte_place(1), byte_place(0), {}}},
    {4,
     unpack_plain<Layout::cutout8, 4>,
     {4, byte_place(2), byte_place(1), byte_place(0), byte_place(3)}},
    {2, unpack_plain<Layout::mask10, 2>, {2, {}, {}, {}, code_place(0)}},
    {4, unpack_plain<Layout::colour10, 4>, {4, code_place(2), code_place(1), code_place(0), {}}},
    {4,
     unpack_plain<Layout::colour10_little, 4>,
     {4,
      little_endian_code_place(2),
      little_endian_code_place(1),
      little_endian_code_place(0),
      {}}},
    {5,
     unpack_plain<Layout::cutout10, 5>,
     {5, code_place(2), code_place(1), code_place(0), code_place(3)}},
};

const LayoutEntry& entry_of(Layout layout) {
    return layouts[static_cast<std::size_t>(layout)];
}

using avx2::load16;

TRELLIS_AVX2 __m256i load16_twice(const void* low, const void* high) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(load16(low)), load16(high), 1);
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
template <bool with_colour, bool with_matte>
TRELLIS_AVX2 std::size_t unpack_avx2(const LayoutEntry& layout, const std::uint8_t* bytes,
                                     std::size_t count, std::uint16_t* colour,
                                     std::uint16_t* matte) {
    const std::size_t size = layout.size;
    // The pixels that the second load reaches into: six of five bytes, more of fewer. A store of
    // colour reaches no further than the sixth.
    const std::size_t needed = (2 * size + 16 + size - 1) / size;
    const __m256i shuffle = _mm256_broadcastsi128_si256(load16(layout.pattern.shuffle));
    const __m256i scale = _mm256_broadcastsi128_si256(load16(layout.pattern.scale));
    const __m256i colours_first = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7);
    std::size_t x = 0;
    for (; x + needed <= count; x += 4) {
        const std::uint8_t* from = bytes + size * x;
        const __m256i pairs = _mm256_shuffle_epi8(load16_twice(from, from + 2 * size), shuffle);
        const __m256i codes = _mm256_srli_epi16(_mm256_mullo_epi16(pairs, scale), 6);
        const __m256i sorted = _mm256_permutevar8x32_epi32(codes, colours_first);
        if (with_colour) {
            avx2::store(colour + 3 * x, sorted);
        }
        if (with_matte) {
            const __m128i mattes = _mm256_extracti128_si256(sorted, 1);
            _mm_storel_epi64(reinterpret_cast<__m128i*>(matte + x), _mm_srli_si128(mattes, 8));
        }
    }
    return x;
}

// Eight pixels a step. A multiply-add puts the two lower codes of a word in their places, a shift
// the upper one; then the bytes of each word turn round.
TRELLIS_AVX2 std::size_t pack_words_avx2(const std::uint16_t* colour, std::size_t count,
                                         std::uint8_t* bytes) {
    // Lanes are c0, c1, c2 and nothing.
    const __m256i spread = avx2::pattern(0, 1, 2, 3, 4, 5, -1, -1, 6, 7, 8, 9, 10, 11, -1, -1);
    const __m256i reverse = avx2::pattern(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12);
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
        avx2::store(bytes + 4 * x, _mm256_shuffle_epi8(words, reverse));
    }
    return x;
}

// Groups of five bytes, four pixels a step, as 64-bit lanes. Two multiply-adds join the four codes
// of a lane into the two halves of a 40-bit group, shifts bring the halves together, and the byte
// shuffle reverses the group.
template <bool with_colour, bool with_matte>
TRELLIS_AVX2 std::size_t pack_groups_avx2(const std::uint16_t* colour, const std::uint16_t* matte,
                                          std::size_t count, std::uint8_t* bytes) {
    // Lanes are c0, matte, c1, c2.
    const __m256i spread_colour =
        avx2::pattern(0, 1, -1, -1, 2, 3, 4, 5, 6, 7, -1, -1, 8, 9, 10, 11);
    const __m256i spread_matte =
        _mm256_setr_epi8(-1, -1, 0, 1, -1, -1, -1, -1, -1, -1, 2, 3, -1, -1, -1, -1,  //
                         -1, -1, 4, 5, -1, -1, -1, -1, -1, -1, 6, 7, -1, -1, -1, -1);
    const __m256i mask = _mm256_set1_epi16(code_mask);
    const __m256i join = _mm256_set1_epi64x(0x0400'0001'0001'0400);
    const __m256i close_gap = _mm256_set1_epi64x(12);  // the lower half ends where the upper begins
    const __m256i reverse =
        avx2::pattern(6, 5, 4, 3, 2, 14, 13, 12, 11, 10, -1, -1, -1, -1, -1, -1);
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
                _mm256_shuffle_epi8(_mm256_broadcastq_epi64(avx2::load8(matte + x)), spread_matte));
        }
        const __m256i halves = _mm256_madd_epi16(_mm256_and_si256(codes, mask), join);
        const __m256i groups = _mm256_slli_epi64(_mm256_sllv_epi32(halves, close_gap), 4);
        const __m256i packed = _mm256_shuffle_epi8(groups, reverse);
        avx2::store16(bytes + 5 * x, _mm256_castsi256_si128(packed));
        avx2::store16(bytes + 5 * x + 10, _mm256_extracti128_si256(packed, 1));
    }
    return x;
}

// Sixteen samples a step: each is the upper ten bits of two bytes, most significant first.
TRELLIS_AVX2 __m256i swap_bytes(__m256i words) {
    const __m256i swap = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14));
    return _mm256_shuffle_epi8(words, swap);
}

TRELLIS_AVX2 std::size_t unpack_mask_avx2(const std::uint8_t* bytes, std::size_t count,
                                          std::uint16_t* matte) {
    std::size_t x = 0;
    for (; x + 16 <= count; x += 16) {
        const __m256i words = swap_bytes(avx2::load(bytes + 2 * x));
        avx2::store(matte + x, _mm256_srli_epi16(words, 6));
    }
    return x;
}

TRELLIS_AVX2 std::size_t pack_mask_avx2(const std::uint16_t* matte, std::size_t count,
                                        std::uint8_t* bytes) {
    const __m256i field = _mm256_set1_epi16(static_cast<short>(code_mask << 6));
    std::size_t x = 0;
    for (; x + 16 <= count; x += 16) {
        // Down by four and up by six.
        const __m256i shifted = _mm256_slli_epi16(avx2::load(matte + x), 2);
        avx2::store(bytes + 2 * x, swap_bytes(_mm256_and_si256(shifted, field)));
    }
    return x;
}

std::size_t unpack_front(const LayoutEntry& layout, const std::uint8_t* bytes, std::size_t count,
                         std::uint16_t* colour, std::uint16_t* matte) {
    if (!use_avx2()) {
        return 0;
    }
    if (colour == nullptr && &layout == &entry_of(Layout::mask10)) {
        return unpack_mask_avx2(bytes, count, matte);
    }
    if (colour == nullptr) {
        return unpack_avx2<false, true>(layout, bytes, count, colour, matte);
    }
    return matte == nullptr ? unpack_avx2<true, false>(layout, bytes, count, colour, matte)
                            : unpack_avx2<true, true>(layout, bytes, count, colour, matte);
}

std::size_t pack_front(Mode mode, const std::uint16_t* colour, const std::uint16_t* matte,
                       std::size_t count, std::uint8_t* bytes) {
    if (!use_avx2() || (colour == nullptr && matte == nullptr)) {
        return 0;
    }
    if (mode == Mode::mask) {
        return pack_mask_avx2(matte, count, bytes);
    }
    if (mode == Mode::picture) {
        return colour == nullptr ? 0 : pack_words_avx2(colour, count, bytes);
    }
    if (colour == nullptr) {
        return pack_groups_avx2<false, true>(colour, matte, count, bytes);
    }
    return matte == nullptr ? pack_groups_avx2<true, false>(colour, matte, count, bytes)
                            : pack_groups_avx2<true, true>(colour, matte, count, bytes);
}

}  // namespace

std::size_t pixel_size(Layout layout) {
    return entry_of(layout).size;
}

std::uint32_t image_size(const Rectangle& rectangle, Mode mode) {
    return static_cast<std::uint32_t>(rectangle.width()) *
           static_cast<std::uint32_t>(rectangle.height()) *
           static_cast<std::uint32_t>(pixel_size(saved_layout(mode)));
}

void unpack_pixels(Layout layout, const std::uint8_t* bytes, std::size_t count,
                   std::uint16_t* colour, std::uint16_t* matte) {
    if (colour == nullptr && matte == nullptr) {
        return;
    }
    const LayoutEntry& entry = entry_of(layout);
    const std::size_t done = unpack_front(entry, bytes, count, colour, matte);
    entry.unpack_plain(bytes, done, count, colour, matte);
}

void clear_pixels(std::size_t count, std::uint16_t* colour, std::uint16_t* matte) {
    if (colour != nullptr) {
        std::memset(colour, 0, count * 3 * sizeof *colour);
    }
    if (matte != nullptr) {
        std::memset(matte, 0, count * sizeof *matte);
    }
}

void pack_pixels(Mode mode, const std::uint16_t* colour, const std::uint16_t* matte,
                 std::size_t count, std::uint8_t* bytes) {
    // A mode packs the samples that it is about, whatever buffers there are.
    if (mode == Mode::mask) {
        colour = nullptr;
    } else if (mode == Mode::picture) {
        matte = nullptr;
    }
    const std::size_t done = pack_front(mode, colour, matte, count, bytes);
    switch (mode) {
        case Mode::mask:
            return pack_plain<Mode::mask, 2>(colour, matte, done, count, bytes);
        case Mode::picture:
            return pack_plain<Mode::picture, 4>(colour, matte, done, count, bytes);
        case Mode::cutout:
            return pack_plain<Mode::cutout, 5>(colour, matte, done, count, bytes);
    }
}

}  // namespace trellis::dpx
