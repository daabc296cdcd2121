#include "convert/cutout.h"

#include "convert/lanes.h"
#include "convert/layouts.h"
#include "frame/cpu.h"

namespace trellis::convert {

namespace {

/// Does the back of the pixels, the last first, and returns how many it left.
template <class Sample>
TRELLIS_AVX2 std::size_t join_avx2(const Sample* colour, const Sample* matte, Sample* cutout,
                                   std::size_t count) {
    using L = Lanes<Sample>;
    const __m256i lanes = L::matte_lanes();
    std::size_t x = count;
    while (x >= L::pixels) {
        x -= L::pixels;
        const __m256i colours = L::load_colour(colour + Layout<Sample>::colour_samples * x);
        const __m256i mattes = matte == nullptr ? L::opaque() : L::spread(avx2::load8(matte + x));
        avx2::store(cutout + 4 * x, _mm256_blendv_epi8(colours, mattes, lanes));
    }
    return x;
}

template <class Sample>
TRELLIS_AVX2 std::size_t split_avx2(Sample* colour, Sample* matte, const Sample* cutout,
                                    std::size_t count) {
    using L = Lanes<Sample>;
    std::size_t x = 0;
    for (; x + L::pixels <= count; x += L::pixels) {
        const __m256i pixels = avx2::load(cutout + 4 * x);
        L::store_colour(colour + Layout<Sample>::colour_samples * x, pixels);
        if (matte != nullptr) {
            avx2::store8(matte + x, L::gather(pixels));
        }
    }
    return x;
}

template <class Sample>
TRELLIS_AVX2 std::size_t insert_avx2(const Sample* matte, Sample* cutout, std::size_t count) {
    using L = Lanes<Sample>;
    const __m256i lanes = L::matte_lanes();
    std::size_t x = 0;
    for (; x + L::pixels <= count; x += L::pixels) {
        const __m256i mattes = L::spread(avx2::load8(matte + x));
        avx2::store(cutout + 4 * x, _mm256_blendv_epi8(avx2::load(cutout + 4 * x), mattes, lanes));
    }
    return x;
}

TRELLIS_AVX2 std::size_t extract_avx2(const std::uint8_t* cutout, std::uint8_t* matte,
                                      std::size_t count) {
    using L = Lanes<std::uint8_t>;
    std::size_t x = 0;
    for (; x + L::pixels <= count; x += L::pixels) {
        avx2::store8(matte + x, L::gather(avx2::load(cutout + 4 * x)));
    }
    return x;
}

/// Sixteen words at a time: two packings leave every matte in a word, in pairs that the permutation
/// puts in order.
TRELLIS_AVX2 std::size_t extract_avx2(const std::uint16_t* cutout, std::uint16_t* matte,
                                      std::size_t count) {
    const __m256i lanes = Lanes<std::uint16_t>::matte_lanes();
    const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    std::size_t x = 0;
    for (; x + 16 <= count; x += 16) {
        const std::uint16_t* from = cutout + 4 * x;
        const __m256i first = _mm256_packus_epi32(_mm256_and_si256(avx2::load(from), lanes),
                                                  _mm256_and_si256(avx2::load(from + 16), lanes));
        const __m256i second = _mm256_packus_epi32(_mm256_and_si256(avx2::load(from + 32), lanes),
                                                   _mm256_and_si256(avx2::load(from + 48), lanes));
        avx2::store(matte + x,
                    _mm256_permutevar8x32_epi32(_mm256_packus_epi32(first, second), order));
    }
    return x;
}

}  // namespace

template <class Sample>
void join_cutout(const Sample* colour, const Sample* matte, Sample* cutout, std::size_t count) {
    for (std::size_t x = use_avx2() ? join_avx2(colour, matte, cutout, count) : count; x-- > 0;) {
        const Sample* from = colour + Layout<Sample>::colour_samples * x;
        const Sample blue = from[Layout<Sample>::first_colour];
        const Sample green = from[Layout<Sample>::first_colour + 1];
        const Sample red = from[Layout<Sample>::first_colour + 2];
        Sample* to = cutout + 4 * x;
        to[0] = matte == nullptr ? Layout<Sample>::opaque : matte[x];
        to[1] = blue;
        to[2] = green;
        to[3] = red;
    }
}

template <class Sample>
void split_cutout(Sample* colour, Sample* matte, const Sample* cutout, std::size_t count) {
    for (std::size_t x = use_avx2() ? split_avx2(colour, matte, cutout, count) : 0; x < count;
         ++x) {
        const Sample* from = cutout + 4 * x;
        Sample* to = colour + Layout<Sample>::colour_samples * x + Layout<Sample>::first_colour;
        // The matte first: in place, the colours of 16-bit pixels may fall on it.
        if (matte != nullptr) {
            matte[x] = from[0];
        }
        to[0] = from[1];
        to[1] = from[2];
        to[2] = from[3];
    }
}

template <class Sample>
void insert_matte(const Sample* matte, Sample* cutout, std::size_t count) {
    for (std::size_t x = use_avx2() ? insert_avx2(matte, cutout, count) : 0; x < count; ++x) {
        cutout[4 * x] = matte[x];
    }
}

template <class Sample>
void extract_matte(const Sample* cutout, Sample* matte, std::size_t count) {
    for (std::size_t x = use_avx2() ? extract_avx2(cutout, matte, count) : 0; x < count; ++x) {
        matte[x] = cutout[4 * x];
    }
}

template void join_cutout(const std::uint8_t*, const std::uint8_t*, std::uint8_t*, std::size_t);
template void join_cutout(const std::uint16_t*, const std::uint16_t*, std::uint16_t*, std::size_t);
template void split_cutout(std::uint8_t*, std::uint8_t*, const std::uint8_t*, std::size_t);
template void split_cutout(std::uint16_t*, std::uint16_t*, const std::uint16_t*, std::size_t);
template void insert_matte(const std::uint8_t*, std::uint8_t*, std::size_t);
template void insert_matte(const std::uint16_t*, std::uint16_t*, std::size_t);
template void extract_matte(const std::uint8_t*, std::uint8_t*, std::size_t);
template void extract_matte(const std::uint16_t*, std::uint16_t*, std::size_t);

}  // namespace trellis::convert
