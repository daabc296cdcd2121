// Pixel conversions against the rules written out pixel by pixel, at every width and with odd
// offsets, with the vector kernels and without.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "trellis/convert.h"

#include "convert/depth.h"
#include "frame/raster.h"
#include "pixels/kernels.h"
#include "support/support.h"

namespace {

using namespace trellis;
using support::Bytes;
using support::Guarded;
using u8 = std::uint8_t;
using u16 = std::uint16_t;

template <class Sample>
constexpr bool deep = sizeof(Sample) == 2;

template <class Sample>
struct Pixel {
    Sample *colour, *matte, *cutout;
    Sample* blue() const { return deep<Sample> ? colour : colour + 1; }  // and green and red
};

/// Noise in every shape, and the place of a rectangle in it.
template <class Sample>
struct Buffers {
    Buffers(int w, int h, int x = 3, int y = 1) : width(w), height(h), left(x), bottom(y) {}

    /// The pixels at (x, y) of the rectangle. In place, colour lies where cutouts begin.
    Pixel<Sample> pixel(int x, int y) {
        Sample* in_cutout = &cutout.at(left, bottom) + x * colour_size;
        return {in_place ? in_cutout : &colour.at(left + x, bottom + y),
                with_matte ? &matte.at(left + x, bottom + y) : nullptr, &cutout.at(left + x, bottom + y)};
    }

    bool operator==(const Buffers&) const = default;

    static constexpr int colour_size = deep<Sample> ? 3 : 4;
    int width, height, left, bottom;
    bool in_place = false;
    bool with_matte = true;
    Guarded<Sample> colour = noise(colour_size, 3);
    Guarded<Sample> matte = noise(1, deep<Sample> ? 2 : 4);
    Guarded<Sample> cutout = noise(4, deep<Sample> ? 5 : 3);

    Guarded<Sample> noise(int channels, int extra_pitch) const {
        Guarded<Sample> buffer(left + width, bottom + height, channels, extra_pitch);
        support::Noise noise(static_cast<unsigned int>(channels));
        std::generate_n(buffer.data(), buffer.pitch() * (bottom + height) * channels,
                        [&] { return static_cast<Sample>(noise.next() >> 7); });
        return buffer;
    }
};

template <class Sample>
using Colour = BufferView<Sample, Buffers<Sample>::colour_size>;
template <class Sample>
using Matte = BufferView<Sample, 1>;

/// `call` must do to the rectangle of `got` what `rule` says for each pixel, and nothing else.
template <class From, class To, class Call, class Rule>
void check(Buffers<From> from, Buffers<To> got, Call call, Rule rule) {
    const auto before = from;
    auto expected = got;
    for (int y = 0; y < from.height; ++y) {
        for (int x = 0; x < from.width; ++x) { rule(from.pixel(x, y), expected.pixel(x, y)); }
    }
    call(from, got);
    EXPECT_EQ(got, expected);
    EXPECT_EQ(from, before);
}

/// The same for what works within one set of buffers; `call` also gets the first pixel.
template <class Sample, class Call, class Rule>
void check(const Buffers<Sample>& buffers, Call call, Rule rule) {
    check(
        buffers, buffers, [=](auto&, auto& got) { call(got, got.pixel(0, 0)); }, rule);
}

/// Runs `body` for every width, with every table of kernels.
template <class Body>
void every_width(Body body) {
    for (const pixels::Kernels* kernels : pixels::back_ends()) {
        pixels::use_kernels(*kernels);
        for (int i = 0; i <= 68; ++i) {
            const int width = i == 68 ? 1100 : i;  // more than two of the blocks that cutouts are split in
            SCOPED_TRACE(std::to_string(width) + " " + kernels->name);
            body(width);
        }
    }
}

u16 converted(u8 value) { return static_cast<u16>(value * 64 + value / 4); }
u8 converted(u16 value) { return static_cast<u8>((value >> 6) & 0xFF); }

template <class From, class To, class Convert>
void check_depth(int width, Convert convert) {
    const auto call = [=](Buffers<From>& from, Buffers<To>& to) {
        const auto [from_colour, from_matte, from_cutout] = from.pixel(0, 0);
        const auto [to_colour, to_matte, to_cutout] = to.pixel(0, 0);
        const convert::Extent extent = {width, 3};
        convert(Colour<From>(from_colour, from.colour.pitch()), Colour<To>(to_colour, to.colour.pitch()), extent);
        convert(Matte<From>(from_matte, from.matte.pitch()), Matte<To>(to_matte, to.matte.pitch()), extent);
        copy_and_convert_cut_buffer_trellis(width, 3, deep<From>, from.cutout.data(), from.cutout.pitch(), from.left,
                                            from.bottom, deep<To>, to.cutout.data(), to.cutout.pitch(), to.left,
                                            to.bottom);
    };
    check(Buffers<From>(width, 3), Buffers<To>(width, 3, 5, 2), call, [](Pixel<From> from, Pixel<To> to) {
        for (int c = 0; c < 4; ++c) { to.cutout[c] = converted(from.cutout[c]); }
        for (int c = 0; c < 3; ++c) { to.blue()[c] = converted(from.blue()[c]); }
        *to.matte = converted(*from.matte);
    });
}

TEST(Conversions, BetweenDepths) {
    every_width([](int width) {
        check_depth<u8, u16>(width, [](auto... arguments) { convert::widen(arguments...); });
        check_depth<u16, u8>(width, [](auto... arguments) { convert::narrow(arguments...); });
    });
    Guarded<u16> untouched(4, 4, 4);
    u16 from[64] = {};
    copy_and_convert_cut_buffer_trellis(4, 4, 0, from, 4, 0, 0, 0, untouched.data(), 4, 0, 0);
    copy_and_convert_cut_buffer_trellis(-3, 4, 1, from, 4, 0, 0, 0, untouched.data(), 4, 0, 0);
    copy_and_convert_cut_buffer_trellis(4, -3, 1, from, 4, 0, 0, 0, untouched.data(), 4, 0, 0);
    EXPECT_EQ(untouched.written(), 0) << "equal types and empty blocks";
}

template <class Sample>
Sample grey(const Sample* blue) {
    return static_cast<Sample>(0.11 * blue[0] + 0.59 * blue[1] + 0.3 * blue[2]);
}

template <class Sample>
void check_shapes(int width, decltype(to8_rgba_trellis) insert, decltype(from8_rgba_trellis) extract) {
    using B = Buffers<Sample>;
    using P = Pixel<Sample>;
    const int depth = deep<Sample> ? 1 : 0;
    B row(width, 1);
    check(
        row, [=](B&, P p) { rgb_to_mask_convert_trellis(depth, p.colour, p.matte, width); },
        [](P from, P to) { *to.matte = grey(from.blue()); });
    check(
        row, [=](B&, P p) { mask_to_rgb_convert_trellis(depth, p.colour, p.matte, width); },
        [](P from, P to) { std::fill_n(to.blue(), 3, *from.matte); });

    // Cutouts together and apart, also where they share their memory with the colour.
    for (const auto& [in_place, with_matte] : {std::pair{false, true}, {false, false}, {true, true}, {true, false}}) {
        row.in_place = in_place;
        row.with_matte = with_matte;
        check(
            row, [=](B&, P p) { rgb_and_a_to_cut_convert_trellis(depth, p.colour, p.matte, p.cutout, width); },
            [](P from, P to) {
                to.cutout[0] = from.matte != nullptr ? *from.matte : static_cast<Sample>(depth == 1 ? 16383 : 255);
                std::copy_n(from.blue(), 3, to.cutout + 1);
            });
        check(
            row, [=](B&, P p) { cut_to_rgb_and_a_convert_trellis(depth, p.colour, p.matte, p.cutout, width); },
            [](P from, P to) {
                if (to.matte != nullptr) { *to.matte = from.cutout[0]; }
                std::copy_n(from.cutout + 1, 3, to.blue());
            });
    }

    for (const int height : {0, 3}) {
        const auto move_matte = [=](auto move) {
            return [=](B& b, P) {
                move(b.cutout.data(), b.cutout.pitch(), b.matte.data(), b.matte.pitch(), b.left, b.bottom,
                     b.left + width - 1, b.bottom + height - 1);
            };
        };
        check(B(width, height), move_matte(insert), [](P from, P to) { to.cutout[0] = *from.matte; });
        check(B(width, height), move_matte(extract), [](P from, P to) { *to.matte = from.cutout[0]; });
    }
}

TEST(Conversions, BetweenShapes) {
    every_width([](int width) {
        check_shapes<u8>(width, to8_rgba_trellis, from8_rgba_trellis);
        check_shapes<u16>(width, to16_rgba_trellis, from16_rgba_trellis);
    });
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
    for (std::size_t i = 0; i < mask.size(); ++i) { wrong += mask[i] != grey(&colour[size * i + size - 3]) ? 1 : 0; }
    return wrong;
}

// All 2^24 8-bit colours, the neutral ones again in neutral company, where they go their own way,
// and with coloured ones between; all neutral 16-bit ones, and a million others.
TEST(Conversions, TheFastGreyIsTheExactOne) {
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

TEST(Conversions, BetweenConventionsForEveryMatteAndColour) {
    every_width([](int wanted) {
        // A row for each matte; the colours of the widest rows are 0 to 255, 1 to 0 and 2 to 1.
        const int width = wanted == 1100 ? 256 : wanted;
        Buffers<u8> all(width, 256);
        for (int i = 0; i < width * 256; ++i) {
            u8* cutout = all.pixel(i % width, i / width).cutout;
            cutout[0] = static_cast<u8>(i / width);
            for (int c = 0; c < 3; ++c) { cutout[1 + c] = static_cast<u8>(i % width + c); }
        }
        const auto check_colours = [&](auto reformat, auto rule) {
            const auto call = [=](auto& b, auto p) { reformat(p.cutout, b.cutout.pitch(), width, 256); };
            check(all, call, [=](auto from, auto to) {
                const int matte = from.cutout[0];
                to.cutout[0] = static_cast<u8>(255 - matte);
                for (int c = 1; c < 4; ++c) { to.cutout[c] = static_cast<u8>(rule(matte, from.cutout[c])); }
            });
        };
        check_colours(reformat_old_cut_8bit_buff,
                      [](int matte, int colour) { return matte == 255 ? 0 : colour * 255 / (255 - matte); });
        check_colours(reformat_new_cut_8bit_buff,
                      [](int matte, int colour) { return matte == 255 ? colour : colour * matte >> 8; });
    });
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
