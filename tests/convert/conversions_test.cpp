// Pixel conversions against the rules written out sample by sample, at every width and with odd
// offsets, with the vector kernels and without.

#include <gtest/gtest.h>

#include <cstring>

#include "trellis/convert.h"

#include "convert/depth.h"
#include "convert/layouts.h"
#include "convert/mask.h"
#include "convert/premultiply.h"
#include "frame/cpu.h"
#include "frame/raster.h"
#include "support/support.h"

namespace {

using namespace trellis;
using support::Bytes;
using support::Guarded;
using u8 = std::uint8_t;
using u16 = std::uint16_t;

constexpr int widest = 67;
constexpr int rows = 3;

template <class Sample>
Guarded<Sample> noisy(int width, int height, int channels, unsigned int seed, int extra_pitch = 3) {
    Guarded<Sample> buffer(width, height, channels, extra_pitch);
    support::Noise noise(seed);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            for (int c = 0; c < channels; ++c) { buffer.at(x, y, c) = static_cast<Sample>(noise.next() >> 7); }
        }
    }
    return buffer;
}

/// Runs `body` for every width, with the vector kernels and without.
template <class Body>
void every_width(Body body) {
    ASSERT_TRUE(use_avx2()) << "this machine cannot run the vector kernels";
    for (const bool vectors : {true, false}) {
        allow_vector_kernels(vectors);
        for (int width = 0; width <= widest; ++width) {
            SCOPED_TRACE(std::to_string(width) + (vectors ? " with vectors" : " plain"));
            body(width);
        }
    }
    allow_vector_kernels(true);
}

// From (sx, sy) of one buffer to (dx, dy) of another, `skip` being the first 8-bit channel.
constexpr int sx = 3, sy = 1, dx = 5, dy = 2;

template <class From, class To, class Convert>
void check_depth(int width, int from_channels, int to_channels, Convert convert) {
    const int channels = std::min(from_channels, to_channels);
    auto from = noisy<From>(widest + sx, rows + sy, from_channels, 7);
    Guarded<To> to(widest + dx, rows + dy, to_channels, 1);
    Guarded<To> expected = to;
    for (int y = 0; y < rows && width > 0; ++y) {
        for (int x = 0; x < width; ++x) {
            for (int c = 0; c < channels; ++c) {
                const int value = from.at(sx + x, sy + y, from_channels - channels + c);
                const int converted = sizeof(From) == 1 ? value * 64 + value / 4 : (value >> 6) & 0xFF;
                expected.at(dx + x, dy + y, to_channels - channels + c) = static_cast<To>(converted);
            }
        }
    }
    const auto before = from;
    convert(from, to);
    EXPECT_EQ(to, expected);
    EXPECT_EQ(from, before);
}

TEST(Depth, RectanglesOfEveryLayout) {
    every_width([](int width) {
        const convert::Extent extent = {width, rows};
        check_depth<u8, u16>(width, 4, 3, [&](auto& from, auto& to) {
            convert::widen(Colour8(from.data(), from.pitch()).from(sx, sy),
                           Colour16(to.data(), to.pitch()).from(dx, dy), extent);
        });
        check_depth<u16, u8>(width, 3, 4, [&](auto& from, auto& to) {
            convert::narrow(Colour16(from.data(), from.pitch()).from(sx, sy),
                            Colour8(to.data(), to.pitch()).from(dx, dy), extent);
        });
        check_depth<u8, u16>(width, 1, 1, [&](auto& from, auto& to) {
            convert::widen(Matte8(from.data(), from.pitch()).from(sx, sy), Matte16(to.data(), to.pitch()).from(dx, dy),
                           extent);
        });
        check_depth<u16, u8>(width, 1, 1, [&](auto& from, auto& to) {
            convert::narrow(Matte16(from.data(), from.pitch()).from(sx, sy), Matte8(to.data(), to.pitch()).from(dx, dy),
                            extent);
        });
        check_depth<u8, u16>(width, 4, 4, [&](auto& from, auto& to) {
            copy_and_convert_cut_buffer_trellis(width, rows, 0, from.data(), from.pitch(), sx, sy, 1, to.data(),
                                                to.pitch(), dx, dy);
        });
        check_depth<u16, u8>(width, 4, 4, [&](auto& from, auto& to) {
            copy_and_convert_cut_buffer_trellis(width, rows, 1, from.data(), from.pitch(), sx, sy, 0, to.data(),
                                                to.pitch(), dx, dy);
        });
    });
    EXPECT_EQ(convert::widened(255), 16383);
    EXPECT_EQ(convert::widened(1), 64);
    EXPECT_EQ(convert::narrowed(16384), 0) << "samples above full scale wrap";
}

TEST(Depth, EqualTypesAndEmptyBlocksCopyNothing) {
    auto from = noisy<u8>(4, 4, 4, 1);
    Guarded<u8> to(4, 4, 4);
    copy_and_convert_cut_buffer_trellis(4, 4, 0, from.data(), 4, 0, 0, 0, to.data(), 4, 0, 0);
    copy_and_convert_cut_buffer_trellis(-3, 4, 1, from.data(), 4, 0, 0, 0, to.data(), 4, 0, 0);
    copy_and_convert_cut_buffer_trellis(4, -3, 1, from.data(), 4, 0, 0, 0, to.data(), 4, 0, 0);
    EXPECT_EQ(to.written(), 0);
}

// Cutouts from colour and matte and back, also where both share their memory.
template <class Sample>
void check_layouts(int depth, int count) {
    const int colour_size = depth == 1 ? 3 : 4;
    const int first = colour_size - 3;
    const auto opaque = static_cast<Sample>(depth == 1 ? 16383 : 255);
    auto colour = noisy<Sample>(widest, 1, colour_size, 3, 0);
    auto matte = noisy<Sample>(widest, 1, 1, 4, 0);
    for (const bool with_matte : {true, false}) {
        Guarded<Sample> expected(widest, 1, 4, 0);
        for (int x = 0; x < count; ++x) {
            expected.at(x, 0, 0) = with_matte ? matte.at(x, 0) : opaque;
            for (int c = 0; c < 3; ++c) { expected.at(x, 0, 1 + c) = colour.at(x, 0, first + c); }
        }
        Guarded<Sample> cutout(widest, 1, 4, 0);
        rgb_and_a_to_cut_convert_trellis(depth, colour.data(), with_matte ? matte.data() : nullptr, cutout.data(),
                                         count);
        EXPECT_EQ(cutout, expected);
        Guarded<Sample> shared(widest, 1, 4, 0);
        std::memcpy(shared.data(), colour.data(), sizeof(Sample) * static_cast<std::size_t>(count * colour_size));
        rgb_and_a_to_cut_convert_trellis(depth, shared.data(), with_matte ? matte.data() : nullptr, shared.data(),
                                         count);
        EXPECT_EQ(shared, expected);
    }

    auto cutout = noisy<Sample>(widest, 1, 4, 5, 0);
    Guarded<Sample> expected_colour(widest, 1, colour_size, 0);
    Guarded<Sample> expected_matte(widest, 1, 1, 0);
    for (int x = 0; x < count; ++x) {
        expected_matte.at(x, 0) = cutout.at(x, 0, 0);
        for (int c = 0; c < 3; ++c) { expected_colour.at(x, 0, first + c) = cutout.at(x, 0, 1 + c); }
    }
    Guarded<Sample> colour_out(widest, 1, colour_size, 0);
    Guarded<Sample> matte_out(widest, 1, 1, 0);
    cut_to_rgb_and_a_convert_trellis(depth, colour_out.data(), matte_out.data(), cutout.data(), count);
    EXPECT_EQ(colour_out, expected_colour);
    EXPECT_EQ(matte_out, expected_matte);
    Guarded<Sample> shared = cutout;
    Guarded<Sample> matte_again(widest, 1, 1, 0);
    cut_to_rgb_and_a_convert_trellis(depth, shared.data(), matte_again.data(), shared.data(), count);
    EXPECT_EQ(matte_again, expected_matte);
    for (int i = 0; i < count * colour_size; ++i) {
        const bool spare = depth != 1 && i % 4 == 0;  // in place, this byte is the matte's
        EXPECT_EQ(shared.data()[i], spare ? cutout.data()[i] : expected_colour.data()[i]) << i;
    }
    cut_to_rgb_and_a_convert_trellis(depth, colour_out.data(), nullptr, cutout.data(), count);
    EXPECT_EQ(colour_out, expected_colour);
}

TEST(Layouts, CutoutsApartAndTogether) {
    every_width([](int width) {
        check_layouts<u8>(0, width);
        check_layouts<u16>(1, width);
    });
}

template <class Sample, class Insert, class Extract>
void check_mattes(int width, Insert insert, Extract extract) {
    auto cutout = noisy<Sample>(widest + sx, rows + sy, 4, 8);
    auto matte = noisy<Sample>(widest + sx, rows + sy, 1, 9, 2);
    auto inserted = cutout;
    Guarded<Sample> extracted(widest + sx, rows + sy, 1, 2);
    auto expected_cutout = cutout;
    auto expected_matte = extracted;
    for (int y = sy; y < sy + rows; ++y) {
        for (int x = sx; x < sx + width; ++x) {
            expected_cutout.at(x, y, 0) = matte.at(x, y);
            expected_matte.at(x, y) = cutout.at(x, y, 0);
        }
    }
    insert(inserted.data(), inserted.pitch(), matte.data(), matte.pitch(), sx, sy, sx + width - 1, sy + rows - 1);
    extract(cutout.data(), cutout.pitch(), extracted.data(), extracted.pitch(), sx, sy, sx + width - 1, sy + rows - 1);
    EXPECT_EQ(inserted, expected_cutout);
    EXPECT_EQ(extracted, expected_matte);
    insert(inserted.data(), inserted.pitch(), matte.data(), matte.pitch(), 0, 2, 3, 1);
    EXPECT_EQ(inserted, expected_cutout) << "no rows, nothing done";
}

TEST(Layouts, MattesIntoAndOutOfRgba) {
    every_width([](int width) {
        check_mattes<u8>(width, to8_rgba_trellis, from8_rgba_trellis);
        check_mattes<u16>(width, to16_rgba_trellis, from16_rgba_trellis);
    });
}

template <class Sample>
Sample grey(Sample blue, Sample green, Sample red) {
    return static_cast<Sample>(0.11 * blue + 0.59 * green + 0.3 * red);
}

template <class Sample>
void check_masks(int depth, int count) {
    const int size = depth == 1 ? 3 : 4;
    auto colour = noisy<Sample>(widest, 1, size, 11, 0);
    Guarded<Sample> mask(widest, 1, 1, 0);
    auto expected = mask;
    for (int x = 0; x < count; ++x) {
        expected.at(x, 0) = grey(colour.at(x, 0, size - 3), colour.at(x, 0, size - 2), colour.at(x, 0, size - 1));
    }
    rgb_to_mask_convert_trellis(depth, colour.data(), mask.data(), count);
    EXPECT_EQ(mask, expected);

    auto back = noisy<Sample>(widest, 1, size, 12, 0);
    auto expected_back = back;
    for (int x = 0; x < count; ++x) {
        for (int c = size - 3; c < size; ++c) { expected_back.at(x, 0, c) = mask.at(x, 0); }
    }
    mask_to_rgb_convert_trellis(depth, back.data(), mask.data(), count);
    EXPECT_EQ(back, expected_back);
}

TEST(Masks, GreyAndBack) {
    every_width([](int width) {
        check_masks<u8>(0, width);
        check_masks<u16>(1, width);
    });
    const u8 colours[] = {9, 100, 100, 100, 9, 255, 255, 255};
    const u16 white[] = {16383, 16383, 16383};
    u8 mask[2];
    u16 wide = 0;
    rgb_to_mask_convert_trellis(0, colours, mask, 2);
    rgb_to_mask_convert_trellis(1, white, &wide, 1);
    EXPECT_EQ(mask[0], 100);
    EXPECT_EQ(mask[1], 255);
    EXPECT_EQ(wide, 16382) << "the sum falls just short";
}

/// Wrong greys among pixels of `size` samples.
template <class Sample>
int wrong_greys(int depth, const std::vector<Sample>& colour, std::size_t size) {
    std::vector<Sample> mask(colour.size() / size);
    rgb_to_mask_convert_trellis(depth, colour.data(), mask.data(), static_cast<int>(mask.size()));
    int wrong = 0;
    for (std::size_t i = 0; i < mask.size(); ++i) {
        const Sample* end = &colour[size * i + size - 1];
        wrong += mask[i] != grey(end[-2], end[-1], end[0]) ? 1 : 0;
    }
    return wrong;
}

// All 2^24 8-bit colours, the neutral ones again in neutral company, where they go their own way,
// and with coloured ones between; all neutral 16-bit ones, and a million others.
TEST(Masks, TheFastGreyIsTheExactOne) {
    int wrong = 0;
    std::vector<u8> plane(65536 * 4);
    for (std::size_t blue = 0; blue < 256; ++blue) {
        for (std::size_t i = 0; i < 65536; ++i) {
            plane[4 * i + 1] = static_cast<u8>(blue);
            plane[4 * i + 2] = static_cast<u8>(i >> 8);
            plane[4 * i + 3] = static_cast<u8>(i);
        }
        wrong += wrong_greys(0, plane, 4);
    }
    for (const std::size_t coloured : {1009U, 7U}) {  // every so many pixels
        for (std::size_t i = 0; i < plane.size(); ++i) {
            plane[i] = static_cast<u8>(i % 4 == 0 ? i : i / 4 + i / 1024);
            plane[i] ^= i % 4 == 3 && i / 4 % coloured == 0 ? 10 : 0;  // 300 hundredths: still whole
        }
        wrong += wrong_greys(0, plane, 4);
    }
    EXPECT_EQ(wrong, 0);

    std::vector<u16> words;
    for (unsigned int i = 0; i < 65536; ++i) { words.insert(words.end(), 3, static_cast<u16>(i)); }
    for (unsigned int i = 0; i < 3U << 20; ++i) { words.push_back(static_cast<u16>(i * 40503U >> 4 & 0x3FFF)); }
    EXPECT_EQ(wrong_greys(1, words, 3), 0);
}

TEST(Premultiply, EveryMatteAndColour) {
    for (const bool vectors : {true, false}) {
        allow_vector_kernels(vectors);
        // 256 rows, one for each matte; the colours of a row are 0 to 255, 1 to 0 and 2 to 1.
        Guarded<u8> from(256, 256, 4);
        for (int a = 0; a < 256; ++a) {
            for (int x = 0; x < 256; ++x) {
                for (int c = 0; c < 4; ++c) { from.at(x, a, c) = static_cast<u8>(c == 0 ? a : x + c - 1); }
            }
        }
        auto plain = from;
        auto inverted = from;
        auto expected_plain = from;
        auto expected_inverted = from;
        for (int a = 0; a < 256; ++a) {
            const int n = 255 - a;
            for (int x = 0; x < 256; ++x) {
                expected_plain.at(x, a, 0) = expected_inverted.at(x, a, 0) = static_cast<u8>(n);
                for (int c = 1; c < 4; ++c) {
                    const int colour = from.at(x, a, c);
                    expected_plain.at(x, a, c) = static_cast<u8>(n == 0 ? 0 : colour * 255 / n);
                    expected_inverted.at(x, a, c) = static_cast<u8>(a == 255 ? colour : (colour * a) >> 8);
                }
            }
        }
        reformat_old_cut_8bit_buff(plain.data(), plain.pitch(), 256, 256);
        reformat_new_cut_8bit_buff(inverted.data(), inverted.pitch(), 256, 256);
        EXPECT_EQ(plain, expected_plain);
        EXPECT_EQ(inverted, expected_inverted);
    }
    allow_vector_kernels(true);
}

TEST(RunEstimate, RowsAndBuffers) {
    EXPECT_EQ(check_line_for_compression(Bytes(1200, 5).data(), 300), 12);
    const Bytes alternating = support::hex("01 02 03 04 05 06 07 08 01 02 03 04 05 06 07 08");
    EXPECT_EQ(check_line_for_compression(alternating.data(), 4), 24);
    EXPECT_EQ(check_rgba_line_for_compression(alternating.data(), 4), 32);
    EXPECT_EQ(check_rgba_line_for_compression(Bytes(40, 5).data(), 10), 8);
    EXPECT_EQ(check_mask_line_for_compression(Bytes(256, 5).data(), 256), 4);
    EXPECT_EQ(check_mask_line_for_compression(Bytes(255, 5).data(), 255), 2);
    EXPECT_EQ(check_mask_line_for_compression(nullptr, 0), 0);

    // In rows of pairs, runs are as long as samples. One plain row among the ten decides.
    for (const auto& [height, first] : {std::pair{109, 4}, {110, 5}}) {
        for (const auto& [row, pays] : {std::pair{-1, 0}, {0, 1}, {9, 1}, {10, 0}}) {
            Bytes mask(20 * 115);
            Bytes picture(20 * 115 * 4);
            for (std::size_t i = 0; i < picture.size(); ++i) {
                const bool plain = static_cast<int>(i / 80) == 2 + first + row;
                picture[i] = mask[i / 4] = plain ? 0 : i / 8 % 2;
            }
            const int last = 2 + height - 1;
            EXPECT_EQ(check_buff_for_compression(9, picture.data(), 20, 2, 2, 17, last), pays);
            EXPECT_EQ(check_rgba_buff_for_compression(9, picture.data(), 20, 2, 2, 17, last), pays);
            EXPECT_EQ(check_mask_buff_for_compression(9, mask.data(), 20, 2, 2, 17, last), pays);
        }
    }
    Bytes column(88, 7);
    EXPECT_EQ(check_buff_for_compression(0, column.data(), 1, 0, 0, 0, 21), 0) << "30 bytes are not more than 60";
}

TEST(SmallServices, AspectRatioAndOutline) {
    EXPECT_EQ(guess_aspect_ratio_pic(720, 576), 768.0F / 720);
    EXPECT_EQ(guess_aspect_ratio_pic(720, 486), 0.9F);
    EXPECT_EQ(guess_aspect_ratio_pic(720, 480), 1.0F);
    trellis_default_outline outline{};
    float x = 0;
    float y = 0;
    set_default_cutout_outline(&outline, 7, 8, 100, 50, &x, &y);
    const trellis_default_outline expected = {4, 1, {{0, 0}, {99, 0}, {99, 49}, {0, 49}}};
    EXPECT_EQ(std::memcmp(&outline, &expected, 40), 0);
    EXPECT_EQ(x, 49.5F);
    EXPECT_EQ(y, 24.5F);
}

}  // namespace
