#include "convert/cutout.h"

#include <algorithm>

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
TRELLIS_AVX2 std::size_t extract_colours_avx2(const Sample* cutout, Sample* colour,
                                              std::size_t count) {
    using L = Lanes<Sample>;
    std::size_t x = 0;
    for (; x + 4 * L::pixels <= count; x += 4 * L::pixels) {
        L::store_colours(colour + Layout<Sample>::colour_samples * x, load_four(cutout + 4 * x));
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

template <class Sample>
TRELLIS_AVX2 std::size_t extract_avx2(const Sample* cutout, Sample* matte, std::size_t count) {
    using L = Lanes<Sample>;
    std::size_t x = 0;
    for (; x + 4 * L::pixels <= count; x += 4 * L::pixels) {
        avx2::store(matte + x, L::mattes(load_four(cutout + 4 * x)));
    }
    return x;
}

template <class Sample>
void extract_colours(const Sample* cutout, Sample* colour, std::size_t count) {
    for (std::size_t x = use_avx2() ? extract_colours_avx2(cutout, colour, count) : 0; x < count;
         ++x) {
        const Sample* from = cutout + 4 * x;
        Sample* to = colour + Layout<Sample>::colour_samples * x + Layout<Sample>::first_colour;
        to[0] = from[1];
        to[1] = from[2];
        to[2] = from[3];
    }
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

template <class Sample>
void split_cutout(Sample* colour, Sample* matte, const Sample* cutout, std::size_t count) {
    // One buffer after the other is written faster than two at once, so a block of pixels small
    // enough for the nearest cache is read twice. The mattes first: in place, the colours of 16-bit
    // pixels fall on them.
    constexpr std::size_t block = 512;
    for (std::size_t x = 0; x < count; x += block) {
        const std::size_t pixels = std::min(block, count - x);
        if (matte != nullptr) {
            extract_matte(cutout + 4 * x, matte + x, pixels);
        }
        extract_colours(cutout + 4 * x, colour + Layout<Sample>::colour_samples * x, pixels);
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
