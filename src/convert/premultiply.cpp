#include "convert/premultiply.h"

#include "convert/lanes.h"
#include "frame/cpu.h"

namespace trellis::convert {

namespace {

using Bytes = Lanes<std::uint8_t>;

// (c × 255) ÷ n is c × m ÷ 65536, where m is the whole part of 255 × 65537 ÷ n: at most 256 ÷ n
// more than 255 × 65536 ÷ n, so that no byte c carries the product to the next whole number. Only
// the low byte of the quotient is wanted: c times the high word of m, and the carry of c times its
// low word. The arithmetic is done in words, colours that are high bytes staying where they are.
TRELLIS_AVX2 std::size_t unpremultiply_avx2(std::uint8_t* cutout, std::size_t count) {
    const __m256i high_bytes = _mm256_set1_epi16(-256);
    const __m256i high_twice =
        avx2::pattern(2, 3, 2, 3, 6, 7, 6, 7, 10, 11, 10, 11, 14, 15, 14, 15);
    const __m256i low_twice = avx2::pattern(0, 1, 0, 1, 4, 5, 4, 5, 8, 9, 8, 9, 12, 13, 12, 13);
    std::size_t x = 0;
    for (; x + Bytes::pixels <= count; x += Bytes::pixels) {
        const __m256i pixels = avx2::load(cutout + 4 * x);
        const __m256i matte = _mm256_andnot_si256(pixels, Bytes::matte_lanes());
        // 255 ÷ 256 for a transparent pixel makes m 0x1000100, which leaves nothing of any byte.
        const __m256 divisor =
            _mm256_max_ps(_mm256_cvtepi32_ps(matte), _mm256_set1_ps(255.0F / 256));
        // Numbers below 2^24: the division never rounds up to a whole number.
        const __m256i m = _mm256_cvttps_epi32(_mm256_div_ps(_mm256_set1_ps(255 * 65537), divisor));
        const __m256i high = _mm256_shuffle_epi8(m, high_twice);
        const __m256i low = _mm256_shuffle_epi8(m, low_twice);
        const __m256i green = _mm256_andnot_si256(high_bytes, pixels);
        const __m256i blue_and_red = _mm256_and_si256(high_bytes, pixels);
        const __m256i low_colour =
            _mm256_add_epi16(_mm256_mullo_epi16(green, high), _mm256_mulhi_epu16(green, low));
        const __m256i high_colours = _mm256_add_epi16(_mm256_mullo_epi16(blue_and_red, high),
                                                      _mm256_mulhi_epu16(blue_and_red, low));
        const __m256i colours = _mm256_blendv_epi8(low_colour, high_colours, high_bytes);
        avx2::store(cutout + 4 * x, _mm256_blendv_epi8(colours, matte, Bytes::matte_lanes()));
    }
    return x;
}

TRELLIS_AVX2 __m256i multiplied(__m256i samples, __m256i matte) {
    // A matte of 255 counts as 256, which the shift takes away again.
    const __m256i opaque = _mm256_cmpeq_epi16(matte, _mm256_set1_epi16(255));
    return _mm256_srli_epi16(_mm256_mullo_epi16(samples, _mm256_sub_epi16(matte, opaque)), 8);
}

TRELLIS_AVX2 std::size_t premultiply_avx2(std::uint8_t* cutout, std::size_t count) {
    const __m256i even = _mm256_set1_epi16(0xFF);
    const __m256i twice = avx2::pattern(0, -1, 0, -1, 4, -1, 4, -1, 8, -1, 8, -1, 12, -1, 12, -1);
    std::size_t x = 0;
    for (; x + Bytes::pixels <= count; x += Bytes::pixels) {
        const __m256i pixels = avx2::load(cutout + 4 * x);
        const __m256i matte = _mm256_shuffle_epi8(pixels, twice);
        const __m256i matte_and_green = multiplied(_mm256_and_si256(pixels, even), matte);
        const __m256i blue_and_red = multiplied(_mm256_srli_epi16(pixels, 8), matte);
        const __m256i colours =
            _mm256_or_si256(matte_and_green, _mm256_slli_epi16(blue_and_red, 8));
        const __m256i turned = _mm256_xor_si256(pixels, _mm256_set1_epi8(-1));
        avx2::store(cutout + 4 * x, _mm256_blendv_epi8(colours, turned, Bytes::matte_lanes()));
    }
    return x;
}

}  // namespace

void unpremultiply(std::uint8_t* cutout, std::size_t count) {
    for (std::size_t x = use_avx2() ? unpremultiply_avx2(cutout, count) : 0; x < count; ++x) {
        std::uint8_t* pixel = cutout + 4 * x;
        const int matte = 255 - pixel[0];
        pixel[0] = static_cast<std::uint8_t>(matte);
        for (int c = 1; c <= 3; ++c) {
            pixel[c] = matte == 0 ? 0 : static_cast<std::uint8_t>(pixel[c] * 255 / matte);
        }
    }
}

void premultiply(std::uint8_t* cutout, std::size_t count) {
    for (std::size_t x = use_avx2() ? premultiply_avx2(cutout, count) : 0; x < count; ++x) {
        std::uint8_t* pixel = cutout + 4 * x;
        const int matte = pixel[0];
        pixel[0] = static_cast<std::uint8_t>(255 - matte);
        if (matte != 255) {
            for (int c = 1; c <= 3; ++c) {
                pixel[c] = static_cast<std::uint8_t>((pixel[c] * matte) >> 8);
            }
        }
    }
}

}  // namespace trellis::convert
