// The pixel kernels: vector and plain routine must agree, at every width and alignment. That the
// plain ones put each channel in its byte is seen in the files that are loaded and saved.

#include <gtest/gtest.h>

#include "formats/pixar/pixels.h"
#include "frame/cpu.h"
#include "support/support.h"

namespace {

using namespace trellis;
using pixar::Pixel;
using support::Bytes;

// Runs all kernels over `count` pixels and returns everything that they wrote: an area for each
// result, with room behind it that must stay as it is.
Bytes all_kernels(std::size_t count, bool with_colour, bool with_matte) {
    support::Noise noise(static_cast<std::uint32_t>(count));
    constexpr std::size_t area_size = 320;
    Bytes source(area_size);
    for (std::uint8_t& byte : source) { byte = noise.byte(); }
    const std::uint8_t* in = source.data() + count % 3;
    Bytes written(5 * area_size, 0xA5);
    const auto area = [&](std::size_t i) { return written.data() + i * area_size + count % 3; };

    pixar::store_row(reinterpret_cast<const Pixel*>(in), count,
                     {.colour = with_colour ? area(0) : nullptr,
                      .matte = with_matte ? area(1) : nullptr,
                      .next_colour = source.data()});
    pixar::gather_row(
        {.colour = with_colour ? in : nullptr, .matte = with_matte ? in + 1 : nullptr, .next_colour = source.data()},
        count, reinterpret_cast<Pixel*>(area(2)));
    pixar::expand_rgb(in, count, reinterpret_cast<Pixel*>(area(3)));
    pixar::pack_rgb(reinterpret_cast<const Pixel*>(in), count, area(4));
    return written;
}

TEST(PixarPixels, VectorKernelsAgreeWithPlainOnes) {
    if (!use_avx2()) { GTEST_FAIL() << "this machine cannot run the vector kernels"; }
    for (std::size_t count = 0; count <= 67; ++count) {
        for (const auto& [colour, matte] : {std::pair{true, true}, {true, false}, {false, true}, {false, false}}) {
            const Bytes fast = all_kernels(count, colour, matte);
            allow_vector_kernels(false);
            const Bytes plain = all_kernels(count, colour, matte);
            allow_vector_kernels(true);
            EXPECT_EQ(fast, plain) << count;
        }
    }
}

TEST(PixarPixels, FillRowKeepsToItsCount) {
    const Pixel pixel = {.red = 1, .green = 2, .blue = 3, .matte = 4};
    for (std::size_t count = 0; count < 12; ++count) {
        Pixel filled[13] = {};
        pixar::fill_row(filled, count, pixel);
        for (std::size_t x = 0; x < 13; ++x) {
            EXPECT_TRUE(pixar::same(filled[x], x < count ? pixel : Pixel{})) << count << " " << x;
        }
    }
}

}  // namespace
