#include "formats/iff/pixels.h"

#include <cstring>

#include "frame/avx2.h"
#include "frame/cpu.h"

// Each routine comes as a vector kernel that handles the front of the row and returns how many
// pixels it did, and a plain loop that says what is to be done and finishes the row.

namespace trellis::iff {

namespace {

// 0..255 onto 0..16383.
std::uint16_t widened(std::uint8_t value) {
    return static_cast<std::uint16_t>(value * 64 + value / 4);
}

// Rows of a tile lie far apart in the host's buffers, too far for the processor to see them coming.
constexpr std::size_t rows_ahead = 8;

template <class View>
auto row_of(const View& view, std::size_t y) {
    return view.pixel(0, static_cast<std::int64_t>(y));
}

using avx2::load;
using avx2::pattern;
using avx2::store;

TRELLIS_AVX2 __m256i widened(__m256i values) {
    return _mm256_add_epi16(_mm256_slli_epi16(values, 6), _mm256_srli_epi16(values, 2));
}

// 32 pixels, eight in each register.
struct Joined {
    __m256i pixels[4];
};

TRELLIS_AVX2 Joined join(__m256i alpha, __m256i blue, __m256i green, __m256i red) {
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

TRELLIS_AVX2 std::size_t join_planes_avx2(const Planes& planes, std::size_t count, Pixel* row) {
    std::size_t x = 0;
    for (; x + 32 <= count; x += 32) {
        const __m256i zero = _mm256_setzero_si256();
        const __m256i alpha = planes.alpha == nullptr ? zero : load(planes.alpha + x);
        const bool colour = planes.blue != nullptr;
        const Joined joined =
            join(alpha, colour ? load(planes.blue + x) : zero,
                 colour ? load(planes.green + x) : zero, colour ? load(planes.red + x) : zero);
        for (std::size_t i = 0; i < 4; ++i) {
            store(row + x + 8 * i, joined.pixels[i]);
        }
    }
    return x;
}

TRELLIS_AVX2 void store_colour_planes_avx2(const Planes& planes, std::size_t y, std::size_t end,
                                           const Colour8& colour) {
    const __m256i spare = _mm256_set1_epi32(0xFF);
    std::uint8_t* to = row_of(colour, y);
    const std::ptrdiff_t ahead = row_of(colour, y + rows_ahead) - to;
    for (std::size_t from = y * planes.pitch; from < y * planes.pitch + end; from += 32) {
        __builtin_prefetch(to + ahead, 1);
        __builtin_prefetch(to + ahead + 64, 1);
        const Joined joined = join(spare, load(planes.blue + from), load(planes.green + from),
                                   load(planes.red + from));
        for (const __m256i pixels : joined.pixels) {
            store(to, _mm256_blendv_epi8(pixels, load(to), spare));
            to += sizeof pixels;
        }
    }
}

TRELLIS_AVX2 void store_matte_plane_avx2(const Planes& planes, std::size_t y, std::size_t end,
                                         const Matte8& matte) {
    std::uint8_t* to = row_of(matte, y);
    __builtin_prefetch(row_of(matte, y + rows_ahead), 1);
    for (std::size_t x = 0; x < end; x += 32) {
        store(to + x, load(planes.alpha + y * planes.pitch + x));
    }
}

TRELLIS_AVX2 std::size_t store_planes_avx2(const Planes& planes, std::size_t width,
                                           std::size_t height, const Colour8& colour,
                                           const Matte8& matte) {
    const std::size_t end = width / 32 * 32;
    for (std::size_t y = 0; y < height; ++y) {
        if (colour) {
            store_colour_planes_avx2(planes, y, end, colour);
        }
        if (matte) {
            store_matte_plane_avx2(planes, y, end, matte);
        }
    }
    return end;
}

TRELLIS_AVX2 std::size_t expand_colour_avx2(const std::uint8_t* samples, std::size_t count,
                                            Pixel* row) {
    const __m256i spread = pattern(-1, 0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11);
    std::size_t x = 0;
    // A load takes 16 bytes where 12 are meant: two more pixels must follow.
    for (; x + 10 <= count; x += 8) {
        const __m128i first = avx2::load16(samples + 3 * x);
        const __m128i second = avx2::load16(samples + 3 * x + 12);
        const __m256i both = _mm256_inserti128_si256(_mm256_castsi128_si256(first), second, 1);
        store(row + x, _mm256_shuffle_epi8(both, spread));
    }
    return x;
}

TRELLIS_AVX2 std::size_t pack_colour_avx2(const std::uint8_t* colour, std::size_t count,
                                          std::uint8_t* samples) {
    const __m256i squeeze = pattern(1, 2, 3, 5, 6, 7, 9, 10, 11, 13, 14, 15, -1, -1, -1, -1);
    std::size_t x = 0;
    // A store writes 16 bytes where 12 are meant: two more pixels must follow and overwrite them.
    for (; x + 10 <= count; x += 8) {
        const __m256i packed = _mm256_shuffle_epi8(load(colour + 4 * x), squeeze);
        avx2::store16(samples + 3 * x, _mm256_castsi256_si128(packed));
        avx2::store16(samples + 3 * x + 12, _mm256_extracti128_si256(packed, 1));
    }
    return x;
}

TRELLIS_AVX2 std::size_t store_colour_avx2(const Pixel* row, std::size_t count,
                                           std::uint8_t* colour) {
    const __m256i spare = _mm256_set1_epi32(0xFF);
    std::size_t x = 0;
    for (; x + 8 <= count; x += 8) {
        store(colour + 4 * x, _mm256_blendv_epi8(load(row + x), load(colour + 4 * x), spare));
    }
    return x;
}

TRELLIS_AVX2 std::size_t store_colour_avx2(const Pixel* row, std::size_t count,
                                           std::uint16_t* colour) {
    const __m128i squeeze = _mm_setr_epi8(1, 2, 3, 5, 6, 7, 9, 10, 11, 13, 14, 15, -1, -1, -1, -1);
    std::size_t x = 0;
    // A store writes 16 words where 12 are meant: two more pixels must follow and overwrite them.
    for (; x + 6 <= count; x += 4) {
        const __m128i packed = _mm_shuffle_epi8(avx2::load16(row + x), squeeze);
        store(colour + 3 * x, widened(_mm256_cvtepu8_epi16(packed)));
    }
    return x;
}

TRELLIS_AVX2 std::size_t store_matte_avx2(const Pixel* row, std::size_t count,
                                          std::uint16_t* matte) {
    const __m256i alpha = _mm256_set1_epi32(0xFF);
    std::size_t x = 0;
    for (; x + 16 <= count; x += 16) {
        const __m256i a = _mm256_and_si256(load(row + x), alpha);
        const __m256i b = _mm256_and_si256(load(row + x + 8), alpha);
        // Packing works within 16-byte halves; the permutation puts the four groups back in order.
        const __m256i words = _mm256_permute4x64_epi64(_mm256_packus_epi32(a, b), 0xD8);
        store(matte + x, widened(words));
    }
    return x;
}

TRELLIS_AVX2 std::size_t gather_avx2(const std::uint8_t* colour, const std::uint8_t* matte,
                                     std::size_t count, Pixel* row) {
    const __m256i spare = _mm256_set1_epi32(0xFF);
    std::size_t x = 0;
    for (; x + 8 <= count; x += 8) {
        __m256i pixels = _mm256_setzero_si256();
        if (colour != nullptr) {
            pixels = _mm256_andnot_si256(spare, load(colour + 4 * x));
        }
        if (matte != nullptr) {
            pixels = _mm256_or_si256(pixels, _mm256_cvtepu8_epi32(avx2::load8(matte + x)));
        }
        store(row + x, pixels);
    }
    return x;
}

TRELLIS_AVX2 std::size_t extract_plane_avx2(const std::uint8_t* pixels, std::size_t byte,
                                            std::size_t count, std::uint8_t* plane) {
    const __m128i shift = _mm_cvtsi32_si128(static_cast<int>(8 * byte));
    const __m256i lowest = _mm256_set1_epi32(0xFF);
    std::size_t x = 0;
    for (; x + 32 <= count; x += 32) {
        const std::uint8_t* from = pixels + 4 * x;
        const __m256i a = _mm256_and_si256(_mm256_srl_epi32(load(from), shift), lowest);
        const __m256i b = _mm256_and_si256(_mm256_srl_epi32(load(from + 32), shift), lowest);
        const __m256i c = _mm256_and_si256(_mm256_srl_epi32(load(from + 64), shift), lowest);
        const __m256i d = _mm256_and_si256(_mm256_srl_epi32(load(from + 96), shift), lowest);
        const __m256i packed =
            _mm256_packus_epi16(_mm256_packus_epi32(a, b), _mm256_packus_epi32(c, d));
        store(plane + x, avx2::in_order(packed));
    }
    return x;
}

}  // namespace

void join_planes(const Planes& planes, std::size_t count, Pixel* row) {
    for (std::size_t x = use_avx2() ? join_planes_avx2(planes, count, row) : 0; x < count; ++x) {
        row[x] = {};
        if (planes.alpha != nullptr) {
            row[x].alpha = planes.alpha[x];
        }
        if (planes.blue != nullptr) {
            row[x].blue = planes.blue[x];
            row[x].green = planes.green[x];
            row[x].red = planes.red[x];
        }
    }
}

void store_planes(const Planes& planes, std::size_t width, std::size_t height,
                  const Colour8& colour, const Matte8& matte) {
    const std::size_t first =
        use_avx2() ? store_planes_avx2(planes, width, height, colour, matte) : 0;
    for (std::size_t y = 0; y < height && first < width; ++y) {
        for (std::size_t x = first; x < width && colour; ++x) {
            std::uint8_t* to = row_of(colour, y) + 4 * x;
            to[1] = planes.blue[y * planes.pitch + x];
            to[2] = planes.green[y * planes.pitch + x];
            to[3] = planes.red[y * planes.pitch + x];
        }
        for (std::size_t x = first; x < width && matte; ++x) {
            row_of(matte, y)[x] = planes.alpha[y * planes.pitch + x];
        }
    }
}

void expand_colour(const std::uint8_t* samples, std::size_t count, Pixel* row) {
    for (std::size_t x = use_avx2() ? expand_colour_avx2(samples, count, row) : 0; x < count; ++x) {
        row[x] = {0, samples[3 * x], samples[3 * x + 1], samples[3 * x + 2]};
    }
}

void pack_colour(const std::uint8_t* colour, std::size_t count, std::uint8_t* samples) {
    for (std::size_t x = use_avx2() ? pack_colour_avx2(colour, count, samples) : 0; x < count;
         ++x) {
        std::memcpy(samples + 3 * x, colour + 4 * x + 1, 3);
    }
}

void store_row(const Pixel* row, std::size_t count, std::uint8_t* colour, std::uint8_t* matte) {
    if (colour != nullptr) {
        for (std::size_t x = use_avx2() ? store_colour_avx2(row, count, colour) : 0; x < count;
             ++x) {
            colour[4 * x + 1] = row[x].blue;
            colour[4 * x + 2] = row[x].green;
            colour[4 * x + 3] = row[x].red;
        }
    }
    if (matte != nullptr) {
        extract_plane(reinterpret_cast<const std::uint8_t*>(row), 0, count, matte);
    }
}

void store_row(const Pixel* row, std::size_t count, std::uint16_t* colour, std::uint16_t* matte) {
    if (colour != nullptr) {
        for (std::size_t x = use_avx2() ? store_colour_avx2(row, count, colour) : 0; x < count;
             ++x) {
            colour[3 * x] = widened(row[x].blue);
            colour[3 * x + 1] = widened(row[x].green);
            colour[3 * x + 2] = widened(row[x].red);
        }
    }
    if (matte != nullptr) {
        for (std::size_t x = use_avx2() ? store_matte_avx2(row, count, matte) : 0; x < count; ++x) {
            matte[x] = widened(row[x].alpha);
        }
    }
}

void gather_row(const std::uint8_t* colour, const std::uint8_t* matte, std::size_t count,
                Pixel* row) {
    for (std::size_t x = use_avx2() ? gather_avx2(colour, matte, count, row) : 0; x < count; ++x) {
        row[x] = {};
        if (colour != nullptr) {
            row[x].blue = colour[4 * x + 1];
            row[x].green = colour[4 * x + 2];
            row[x].red = colour[4 * x + 3];
        }
        if (matte != nullptr) {
            row[x].alpha = matte[x];
        }
    }
}

void extract_plane(const std::uint8_t* pixels, std::size_t byte, std::size_t count,
                   std::uint8_t* plane) {
    for (std::size_t x = use_avx2() ? extract_plane_avx2(pixels, byte, count, plane) : 0; x < count;
         ++x) {
        plane[x] = pixels[4 * x + byte];
    }
}

}  // namespace trellis::iff
