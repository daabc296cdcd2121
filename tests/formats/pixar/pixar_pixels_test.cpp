// The pixel kernels: vector and plain routine must agree, at every width and alignment.

#include <gtest/gtest.h>

#include <cstring>

#include "formats/pixar/pixels.h"
#include "frame/cpu.h"
#include "support/support.h"

namespace {

using namespace trellis;
using pixar::Pixel;
using support::Bytes;
using support::operator+;

// Runs all kernels over `count` pixels at an odd offset and returns everything that they wrote.
Bytes all_kernels(std::size_t count, std::size_t offset, bool with_colour, bool with_matte) {
    support::Noise noise(static_cast<std::uint32_t>(count));
    constexpr std::size_t room = 80;
    Bytes source(room * 5 + 8);
    for (std::uint8_t& byte : source) { byte = noise.byte(); }
    std::vector<Pixel> row(room);
    std::memcpy(row.data(), source.data(), count * sizeof(Pixel));

    Bytes colour(room * 4 + 8, 0xA5);
    Bytes matte(room + 8, 0xA5);
    Bytes samples(room * 3 + 8, 0xA5);
    std::vector<Pixel> gathered(room + 8);
    std::vector<Pixel> expanded(room + 8);
    pixar::store_row(row.data(), count,
                     {.colour = with_colour ? colour.data() + offset : nullptr,
                      .matte = with_matte ? matte.data() + offset : nullptr,
                      .next_colour = colour.data()});
    pixar::gather_row({.colour = with_colour ? source.data() + offset : nullptr,
                       .matte = with_matte ? source.data() + offset + 1 : nullptr,
                       .next_colour = source.data()},
                      count, gathered.data() + offset);
    pixar::expand_rgb(source.data() + offset, count, expanded.data() + offset);
    pixar::pack_rgb(row.data(), count, samples.data() + offset);

    Bytes all = colour + matte + samples;
    for (const auto& pixels : {gathered, expanded}) {
        for (const Pixel& p : pixels) { all = all + Bytes{p.red, p.green, p.blue, p.matte}; }
    }
    return all;
}

TEST(PixarPixels, VectorKernelsAgreeWithPlainOnes) {
    if (!use_avx2()) { GTEST_FAIL() << "this machine cannot run the vector kernels"; }
    for (std::size_t count = 0; count <= 67; ++count) {
        for (const auto& [colour, matte] : {std::pair{true, true}, {true, false}, {false, true}}) {
            const Bytes fast = all_kernels(count, count % 3, colour, matte);
            allow_vector_kernels(false);
            const Bytes plain = all_kernels(count, count % 3, colour, matte);
            allow_vector_kernels(true);
            EXPECT_EQ(fast, plain) << count;
        }
    }
}

TEST(PixarPixels, ChannelsLandInTheirBytes) {
    const Pixel pixel = {.red = 1, .green = 2, .blue = 3, .matte = 4};
    Bytes colour = support::hex("EE EE EE EE EE EE EE EE");
    std::uint8_t matte[2] = {};
    const Pixel row[2] = {pixel, pixel};
    pixar::store_row(row, 2, {.colour = colour.data(), .matte = matte, .next_colour = nullptr});
    EXPECT_EQ(colour, support::hex("EE 03 02 01 EE 03 02 01"));
    EXPECT_EQ(matte[1], 4);
    Pixel back[2];
    pixar::gather_row({colour.data(), matte, nullptr}, 2, back);
    EXPECT_TRUE(pixar::same(back[1], pixel));
    pixar::gather_row({}, 2, back);
    EXPECT_TRUE(pixar::same(back[1], Pixel{}));
    for (std::size_t count = 1; count < 12; ++count) {
        Pixel filled[13] = {};
        pixar::fill_row(filled, count, pixel);
        for (std::size_t x = 0; x < 13; ++x) {
            EXPECT_TRUE(pixar::same(filled[x], x < count ? pixel : Pixel{})) << count << " " << x;
        }
    }
}

}  // namespace
