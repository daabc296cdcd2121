#include "convert/premultiply.h"

#include "convert/lanes.h"
#include "frame/cpu.h"

namespace trellis::convert {

namespace {

using Bytes = Lanes<std::uint8_t>;

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
TRELLIS_AVX2 std::size_t unpremultiply_avx2(std::uint8_t* cutout, std::size_t count) {
    const __m256i just_blue =
        avx2::pattern(1, -1, -1, -1, 5, -1, -1, -1, 9, -1, -1, -1, 13, -1, -1, -1);
    const __m256i just_green =
        avx2::pattern(2, -1, -1, -1, 6, -1, -1, -1, 10, -1, -1, -1, 14, -1, -1, -1);
    const __m256i red_one_up =
        avx2::pattern(-1, 3, -1, -1, -1, 7, -1, -1, -1, 11, -1, -1, -1, 15, -1, -1);
    const __m256i odd_bytes = _mm256_set1_epi16(-256);
    const QuietFloatingPoint quiet;
    std::size_t x = 0;
    for (; x + Bytes::pixels <= count; x += Bytes::pixels) {
        const __m256i pixels = avx2::load(cutout + 4 * x);
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
        avx2::store(cutout + 4 * x, _mm256_blend_epi16(matte_and_blue, green_and_red, 0xAA));
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
