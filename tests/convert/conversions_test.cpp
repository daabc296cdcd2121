// Pixel conversions against their rules for one pixel, at every width, with odd offsets and pitches, with
// the vector kernels and without.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
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

/// A buffer of noise, and where in it a conversion begins.
template <class Sample>
struct Buffer : Guarded<Sample> {
    Buffer(int width, int rows, int channels, int extra_pitch, int left, int below)
        : Guarded<Sample>(left + width, below + rows, channels, extra_pitch), x(left), y(below) {
        support::Noise noise(static_cast<unsigned int>(channels));
        for (int i = 0; i < this->pitch() * (below + rows) * channels; ++i) {
            this->data()[i] = static_cast<Sample>(noise.next() >> 7);
        }
    }
    Sample* start() { return &this->at(x, y); }
    int x, y;
};

/// Runs a conversion on three buffers of some channels, of which it may use fewer, and expects in all of
/// them what `rule` makes of single pixels.
template <class A, class B, class C, class Rule, class Run>
void check(int rows, std::array<int, 3> channels, Rule rule, Run run) {
    ASSERT_TRUE(use_avx2()) << "this machine cannot run the vector kernels";
    for (const bool vectors : {true, false}) {
        allow_vector_kernels(vectors);
        for (int i = 0; i <= 68; ++i) {
            const int width = i == 68 ? 1100 : i;
            SCOPED_TRACE(std::to_string(width) + (vectors ? " with vectors" : " plain"));
            Buffer<A> a(width, rows, channels[0], 3, 3, 1);
            Buffer<B> b(width, rows, channels[1], 1, 5, 2);
            Buffer<C> c(width, rows, channels[2], 2, 3, 1);
            auto expected_a = a;
            auto expected_b = b;
            auto expected_c = c;
            for (int y = 0; y < rows; ++y) {
                for (int x = 0; x < width; ++x) {
                    rule(&expected_a.at(a.x + x, a.y + y), &expected_b.at(b.x + x, b.y + y),
                         &expected_c.at(c.x + x, c.y + y));
                }
            }
            run(width, a, b, c);
            EXPECT_EQ(a, expected_a);
            EXPECT_EQ(b, expected_b);
            EXPECT_EQ(c, expected_c);
        }
    }
    allow_vector_kernels(true);
}

/// A depth conversion from the last `samples` channels of one buffer to those of another.
template <class From, class To, class Run>
void check_depth(int from_channels, int to_channels, Run run) {
    const int samples = std::min(from_channels, to_channels);
    const auto rule = [=](const From* from, To* to, const u8*) {
        for (int c = 0; c < samples; ++c) {
            const int value = from[from_channels - samples + c];
            const int converted = sizeof(From) == 1 ? value * 64 + value / 4 : (value >> 6) & 0xFF;
            to[to_channels - samples + c] = static_cast<To>(converted);
        }
    };
    check<From, To, u8>(3, {from_channels, to_channels, 1}, rule, [&](int width, auto& from, auto& to, auto&) {
        run(convert::Extent{width, 3}, from, to);
    });
}

template <class View>
View view(auto& buffer) {
    return View(buffer.data(), buffer.pitch()).from(buffer.x, buffer.y);
}

TEST(Depth, RectanglesOfEveryLayout) {
    check_depth<u8, u16>(
        4, 3, [](auto size, auto& from, auto& to) { convert::widen(view<Colour8>(from), view<Colour16>(to), size); });
    check_depth<u16, u8>(
        3, 4, [](auto size, auto& from, auto& to) { convert::narrow(view<Colour16>(from), view<Colour8>(to), size); });
    check_depth<u8, u16>(
        1, 1, [](auto size, auto& from, auto& to) { convert::widen(view<Matte8>(from), view<Matte16>(to), size); });
    check_depth<u16, u8>(
        1, 1, [](auto size, auto& from, auto& to) { convert::narrow(view<Matte16>(from), view<Matte8>(to), size); });
    const auto cutouts = [](int from_type) {
        return [from_type](auto size, auto& from, auto& to) {
            copy_and_convert_cut_buffer_trellis(static_cast<int>(size.width), 3, from_type, from.data(), from.pitch(),
                                                from.x, from.y, 1 - from_type, to.data(), to.pitch(), to.x, to.y);
        };
    };
    check_depth<u8, u16>(4, 4, cutouts(0));
    check_depth<u16, u8>(4, 4, cutouts(1));
    EXPECT_EQ(convert::widened(255), 16383);
    EXPECT_EQ(convert::widened(1), 64);
    EXPECT_EQ(convert::narrowed(16384), 0) << "samples above full scale wrap";
}

TEST(Depth, EqualTypesAndEmptyBlocksCopyNothing) {
    const Bytes from(64, 1);
    Guarded<u8> to(4, 4, 4);
    copy_and_convert_cut_buffer_trellis(4, 4, 0, from.data(), 4, 0, 0, 0, to.data(), 4, 0, 0);
    copy_and_convert_cut_buffer_trellis(-3, 4, 1, from.data(), 4, 0, 0, 0, to.data(), 4, 0, 0);
    copy_and_convert_cut_buffer_trellis(4, -3, 1, from.data(), 4, 0, 0, 0, to.data(), 4, 0, 0);
    EXPECT_EQ(to.written(), 0);
}

template <class Sample>
Sample grey(Sample blue, Sample green, Sample red) {
    return static_cast<Sample>(0.11 * blue + 0.59 * green + 0.3 * red);
}

/// Pixels back to back: colour, matte or mask, and cutout.
template <class Sample>
void check_layouts(int depth) {
    constexpr int size = sizeof(Sample) == 1 ? 4 : 3;
    constexpr int first = size - 3;
    const auto check_row = [](auto rule, auto run) {
        check<Sample, Sample, Sample>(1, {size, 1, 4}, rule, [&](int count, auto& colour, auto& matte, auto& cutout) {
            run(colour.start(), matte.start(), cutout.start(), count);
        });
    };
    for (const bool with_matte : {true, false}) {
        check_row(
            [=](Sample* colour, Sample* matte, Sample* cutout) {
                cutout[0] = with_matte ? *matte : sizeof(Sample) == 1 ? 255 : 16383;
                std::copy_n(colour + first, 3, cutout + 1);
            },
            [=](auto* colour, auto* matte, auto* cutout, int count) {
                rgb_and_a_to_cut_convert_trellis(depth, colour, with_matte ? matte : nullptr, cutout, count);
            });
        check_row(
            [=](Sample* colour, Sample* matte, Sample* cutout) {
                *matte = with_matte ? cutout[0] : *matte;
                std::copy_n(cutout + 1, 3, colour + first);
            },
            [=](auto* colour, auto* matte, auto* cutout, int count) {
                cut_to_rgb_and_a_convert_trellis(depth, colour, with_matte ? matte : nullptr, cutout, count);
            });
    }
    check_row(
        [](Sample* colour, Sample* mask, Sample*) {
            *mask = grey(colour[first], colour[first + 1], colour[first + 2]);
        },
        [=](auto* colour, auto* mask, auto*, int count) { rgb_to_mask_convert_trellis(depth, colour, mask, count); });
    check_row(
        [](Sample* colour, Sample* mask, Sample*) { std::fill_n(colour + first, 3, *mask); },
        [=](auto* colour, auto* mask, auto*, int count) { mask_to_rgb_convert_trellis(depth, colour, mask, count); });
}

/// Colour and cutout in one memory, joined and split again.
template <class Sample>
void check_in_place(int depth) {
    constexpr std::size_t size = sizeof(Sample) == 1 ? 4 : 3;
    for (const bool vectors : {true, false}) {
        allow_vector_kernels(vectors);
        for (const std::size_t count : {0U, 1U, 3U, 16U, 31U, 67U, 1100U}) {
            std::vector<Sample> memory(count * 4);
            std::vector<Sample> matte(count);
            for (std::size_t i = 0; i < count * size; ++i) { memory[i] = static_cast<Sample>(i * 77); }
            for (std::size_t i = 0; i < count; ++i) { matte[i] = static_cast<Sample>(i * 99); }
            const auto colour = memory;
            auto apart = memory;
            auto matte_back = matte;
            const int n = static_cast<int>(count);
            rgb_and_a_to_cut_convert_trellis(depth, colour.data(), matte.data(), apart.data(), n);
            rgb_and_a_to_cut_convert_trellis(depth, memory.data(), matte.data(), memory.data(), n);
            EXPECT_EQ(memory, apart) << count;
            std::fill(matte_back.begin(), matte_back.end(), Sample{});
            cut_to_rgb_and_a_convert_trellis(depth, memory.data(), matte_back.data(), memory.data(), n);
            EXPECT_EQ(matte_back, matte);
            for (std::size_t i = 0; i < count * size; ++i) {
                const bool spare = size == 4 && i % 4 == 0;  // in place, this byte is the matte's
                ASSERT_EQ(memory[i], spare ? matte[i / 4] : colour[i]) << i << " of " << count;
            }
        }
    }
    allow_vector_kernels(true);
}

template <class Sample, class Insert, class Extract>
void check_mattes(Insert insert, Extract extract) {
    const auto in_rectangle = [](auto function, auto& cutout, auto& matte, int width) {
        const int x = cutout.x;
        const int y = cutout.y;
        function(cutout.data(), cutout.pitch(), matte.data(), matte.pitch(), x, y, x + width - 1, y + 2);
        function(cutout.data(), cutout.pitch(), matte.data(), matte.pitch(), 0, 2, 3, 1);  // no rows
    };
    check<Sample, u8, Sample>(
        3, {4, 1, 1}, [](Sample* cutout, u8*, Sample* matte) { cutout[0] = *matte; },
        [&](int width, auto& cutout, auto&, auto& matte) { in_rectangle(insert, cutout, matte, width); });
    check<Sample, u8, Sample>(
        3, {4, 1, 1}, [](Sample* cutout, u8*, Sample* matte) { *matte = cutout[0]; },
        [&](int width, auto& cutout, auto&, auto& matte) { in_rectangle(extract, cutout, matte, width); });
}

TEST(Layouts, RowsAndRectangles) {
    check_layouts<u8>(0);
    check_layouts<u16>(1);
    check_in_place<u8>(0);
    check_in_place<u16>(1);
    check_mattes<u8>(to8_rgba_trellis, from8_rgba_trellis);
    check_mattes<u16>(to16_rgba_trellis, from16_rgba_trellis);
    const u16 white[] = {16383, 16383, 16383};
    u16 mask = 0;
    rgb_to_mask_convert_trellis(1, white, &mask, 1);
    EXPECT_EQ(mask, 16382) << "the sum falls just short";
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
        Guarded<u8> plain(256, 256, 4);
        Guarded<u8> inverted = plain;
        Guarded<u8> expected_plain = plain;
        Guarded<u8> expected_inverted = plain;
        for (int i = 0; i < 256 * 256 * 4; ++i) {
            const int a = i >> 10, x = i >> 2 & 255, c = i & 3, n = 255 - a;
            const int value = c == 0 ? a : (x + c - 1) & 255;
            plain.at(x, a, c) = inverted.at(x, a, c) = static_cast<u8>(value);
            expected_plain.at(x, a, c) = static_cast<u8>(c == 0 ? n : n == 0 ? 0 : value * 255 / n);
            expected_inverted.at(x, a, c) = static_cast<u8>(c == 0 ? n : a == 255 ? value : (value * a) >> 8);
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
