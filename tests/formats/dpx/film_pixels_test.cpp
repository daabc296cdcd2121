// The packed layouts: hand-written bytes both ways, and the vector kernels against the plain loops.

#include <gtest/gtest.h>

#include <array>

#include "formats/dpx/film_files.h"
#include "formats/dpx/ten_bit.h"
#include "frame/cpu.h"

namespace {

using namespace trellis::dpx;
using support::Bytes;
using support::cineon;
using support::dpx;
using support::DpxHeader;
using support::FilmBuffers;
using support::hex;
using support::operator+;

using Samples = std::array<std::uint16_t, 4>;  // colour values 0, 1 and 2, matte

TEST(FilmPixels, SavedBytes) {
    const support::TempDir dir;
    const struct {
        int mode;
        Samples samples;
        const char* bytes;
    } cases[] = {
        {5, {0, 0, 1023, 9}, "FF C0 00 00"},
        {5, {1023, 0, 0, 9}, "00 00 0F FC"},
        {5, {1, 2, 3, 9}, "00 C0 20 04"},
        {5, {0xFFFF, 0xF800, 0xFC01, 9}, "00 40 0F FC"},  // what does not fit is dropped
        {6, {1023, 1023, 1023, 1023}, "FF FF FF FF FF"},
        {6, {1, 2, 3, 0x155}, "00 C0 20 05 55"},
        {6, {0, 0, 0, 0xFFFF}, "00 00 00 03 FF"},
        {4, {9, 9, 9, 16368}, "FF C0"},
        {4, {9, 9, 9, 0x001F}, "00 40"},
        {4, {9, 9, 9, 0xC00F}, "00 00"},
    };
    for (const auto& c : cases) {
        for (const pic_format* format : {&dpx(), &cineon()}) {
            // Nine equal pixels: the vector kernels take the first, the plain loops the last.
            FilmBuffers buffers(9, 1);
            for (int x = 0; x < 9; ++x) {
                for (int i = 0; i < 3; ++i) {
                    buffers.colour.at(x, 0, i) = c.samples[static_cast<std::size_t>(i)];
                }
                buffers.matte.at(x, 0) = c.samples[3];
            }
            free_last_header_trellis();
            const std::string name = dir.path("a");
            ASSERT_EQ(buffers.save(*format, c.mode, name, 0, 0, 8, 0), 0);
            const Bytes file = support::contents(name);
            Bytes expected;
            for (int x = 0; x < 9; ++x) {
                expected = expected + hex(c.bytes);
            }
            const auto begin = file.end() - static_cast<std::ptrdiff_t>(expected.size());
            EXPECT_EQ(Bytes(begin, file.end()), expected) << c.bytes;
        }
    }
}

TEST(FilmPixels, LoadedSamples) {
    const support::TempDir dir;
    const struct {
        int descriptor, bit_size;
        bool big;
        const char* bytes;
        Samples samples;
    } cases[] = {
        {50, 10, true, "FF C0 20 05", {1, 2, 1023, 0}},
        {50, 10, false, "05 20 C0 FF", {1, 2, 1023, 0}},
        {0, 10, true, "00 C0 20 04", {1, 2, 3, 0}},  // an unknown descriptor is a picture
        {6, 10, false, "04 20 C0 00", {1, 2, 3, 0}},
        {51, 10, true, "00 C0 20 05 55", {1, 2, 3, 0x155}},
        {52, 10, false, "00 C0 20 05 55", {1, 2, 3, 0x155}},  // groups are always big-endian
        {4, 10, true, "FF D5", {0, 0, 0, 1023}},
        {4, 10, false, "01 7F", {0, 0, 0, 5}},
        {50, 8, true, "03 02 01", {1, 2, 3, 0}},
        {50, 8, false, "FF 02 01", {1, 2, 255, 0}},
        {51, 8, false, "03 02 01 FF", {1, 2, 3, 255}},
        {4, 8, true, "FF", {0, 0, 0, 255}},
        {50, 12, true, "FF", {0, 0, 0, 0}},
        {51, 16, false, "FF", {0, 0, 0, 0}},
    };
    constexpr int width = 23;  // enough for a step of every kernel and a rest
    for (const auto& c : cases) {
        const DpxHeader header = {.width = width,
                                  .lines = 1,
                                  .descriptor = c.descriptor,
                                  .bit_size = c.bit_size,
                                  .big = c.big};
        Bytes file = header.bytes();
        for (int x = 0; x < width; ++x) {
            file = file + hex(c.bytes);
        }
        const std::string name = dir.file("a.dpx", file);
        // Loaded as a cutout, as a picture, as a mask, and into no buffer at all.
        for (const auto& [colour, matte] :
             {std::pair{true, true}, {true, false}, {false, true}, {false, false}}) {
            FilmBuffers buffers(width, 1);
            FilmBuffers expected(width, 1);
            for (int x = 0; x < width; ++x) {
                for (int i = 0; i < 3 && colour; ++i) {
                    expected.colour.at(x, 0, i) = c.samples[static_cast<std::size_t>(i)];
                }
                if (matte) {
                    expected.matte.at(x, 0) = c.samples[3];
                }
            }
            EXPECT_EQ(
                dpx().load_cut_fn(name.c_str(), colour ? buffers.colour.data() : nullptr,
                                  buffers.colour.pitch(), matte ? buffers.matte.data() : nullptr,
                                  buffers.matte.pitch(), 0, 0, width - 1, 0, 0, 0),
                0);
            EXPECT_EQ(buffers.colour, expected.colour) << c.descriptor << ": " << c.bytes;
            EXPECT_EQ(buffers.matte, expected.matte) << c.descriptor << ": " << c.bytes;
        }
    }
}

TEST(FilmPixels, VectorKernelsDoWhatThePlainLoopsDo) {
    support::Noise noise(5);
    for (int width = 1; width <= 67; ++width) {
        const auto count = static_cast<std::size_t>(width);
        for (int colour = 0; colour < 2; ++colour) {
            for (int matte = 0; matte < 2; ++matte) {
                const auto both = [&](auto call) {
                    std::array<FilmBuffers, 2> buffers{FilmBuffers(width, 1), {width, 1}};
                    std::array<support::Guarded<std::uint8_t>, 2> bytes{
                        support::Guarded<std::uint8_t>(width, 1, 5, 0), {width, 1, 5, 0}};
                    for (std::size_t i = 0; i < 2; ++i) {
                        call(colour != 0 ? buffers[i].colour.data() : nullptr,
                             matte != 0 ? buffers[i].matte.data() : nullptr, bytes[i].data());
                        trellis::allow_vector_kernels(false);
                    }
                    trellis::allow_vector_kernels(true);
                    return buffers[0].colour == buffers[1].colour &&
                           buffers[0].matte == buffers[1].matte && bytes[0] == bytes[1];
                };
                // Packed bytes of exactly the row's size: the address sanitizer sees reads beyond.
                for (int layout = 1; layout < layout_count; ++layout) {
                    Bytes packed(count * pixel_size(static_cast<Layout>(layout)));
                    for (std::uint8_t& byte : packed) {
                        byte = noise.byte();
                    }
                    EXPECT_TRUE(both([&](auto* c, auto* m, auto* /*bytes*/) {
                        unpack_pixels(static_cast<Layout>(layout), packed.data(), count, c, m);
                    })) << layout
                        << ", " << width;
                }
                std::vector<std::uint16_t> samples(count * 4);
                for (std::uint16_t& sample : samples) {
                    sample = static_cast<std::uint16_t>(noise.next());
                }
                for (const Mode mode : {Mode::mask, Mode::picture, Mode::cutout}) {
                    EXPECT_TRUE(both([&](auto* c, auto* m, auto* bytes) {
                        pack_pixels(mode, c == nullptr ? c : samples.data() + count,
                                    m == nullptr ? m : samples.data(), count, bytes);
                    })) << static_cast<int>(mode)
                        << ", " << width;
                }
            }
        }
    }
}

}  // namespace
