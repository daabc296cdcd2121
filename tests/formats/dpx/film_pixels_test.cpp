// The packed layouts: hand-written bytes both ways, and what the vector kernels save.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "formats/dpx/film_files.h"
#include "frame/cpu.h"

namespace {

using namespace support;
using Samples = std::array<std::uint16_t, 4>;  // colour values 0, 1 and 2, matte

// One pixel, at (1, 1).
FilmBuffers pixel_of(const Samples& samples, bool colour = true, bool matte = true) {
    FilmBuffers buffers(2, 2);
    std::copy_n(samples.begin(), colour ? 3 : 0, &buffers.colour.at(1, 1));
    std::copy_n(samples.begin() + 3, matte ? 1 : 0, &buffers.matte.at(1, 1));
    return buffers;
}

TEST(FilmPixels, SavedBytes) {
    const TempDir dir;
    const std::string name = dir.path("a");
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
        for (const pic_format* format : {&dpx, &cineon}) {
            free_last_header_trellis();
            ASSERT_EQ(pixel_of(c.samples).save(*format, c.mode, name, 1, 1, 1, 1), 0);
            const Bytes file = contents(name);
            const std::size_t header = format == &dpx ? 2048 : 26624;
            EXPECT_EQ(Bytes(file.begin() + static_cast<std::ptrdiff_t>(header), file.end()), hex(c.bytes));
        }
    }
    // Buffers that are not there are saved as zero.
    ASSERT_EQ(dpx.save_cut_fn(name.c_str(), nullptr, 1, nullptr, 1, 0, 0, 0, 0, 0), 0);
    EXPECT_EQ(contents(name).size(), 2053U);
    FilmBuffers buffers = pixel_of({1, 2, 3, 4});
    ASSERT_EQ(buffers.load(dpx, name, 1, 1, 1, 1), 0);
    EXPECT_EQ(buffers, pixel_of({}));
}

TEST(FilmPixels, LoadedSamples) {
    const TempDir dir;
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
    for (const auto& c : cases) {
        const DpxHeader header = {1, 1, c.descriptor, c.bit_size, 0, c.big};
        const std::string name = dir.file("a.dpx", header.bytes() + hex(c.bytes));
        for (int wanted = 0; wanted < 4; ++wanted) {  // nothing, a picture, a mask, a cutout
            const bool colour = (wanted & 1) != 0;
            const bool matte = (wanted & 2) != 0;
            FilmBuffers buffers(2, 2);
            EXPECT_EQ(dpx.load_cut_fn(name.c_str(), colour ? buffers.colour.data() : nullptr, buffers.colour.pitch(),
                                      matte ? buffers.matte.data() : nullptr, buffers.matte.pitch(), 1, 1, 1, 1, 0, 0),
                      0);
            EXPECT_EQ(buffers, pixel_of(c.samples, colour, matte)) << c.descriptor << " " << c.bytes;
        }
    }
}

// Whatever the plain loops save, as the test above has it, the vector kernels save too. Sources are of
// exactly the row's size, so the address sanitizer sees reads beyond.
TEST(FilmPixels, VectorKernelsSaveWhatThePlainLoopsDo) {
    ASSERT_TRUE(trellis::use_avx2()) << "this machine cannot run the vector kernels";
    const TempDir dir;
    const std::string name = dir.path("a");
    Noise noise(5);
    for (int width = 1; width <= 67; ++width) {
        std::vector<std::uint16_t> colour(static_cast<std::size_t>(width) * 3), matte(colour.size() / 3);
        for (auto& sample : colour) { sample = static_cast<std::uint16_t>(noise.next()); }
        for (auto& sample : matte) { sample = static_cast<std::uint16_t>(noise.next()); }
        for (int given = 0; given < 4; ++given) {
            auto* const c = (given & 1) != 0 ? colour.data() : nullptr;
            auto* const m = (given & 2) != 0 ? matte.data() : nullptr;
            Bytes saved[2];
            for (const bool vectors : {true, false}) {
                trellis::allow_vector_kernels(vectors);
                Bytes& all = saved[vectors ? 1 : 0];
                dpx.save_cut_fn(name.c_str(), c, width, m, width, 0, 0, width - 1, 0, 0);
                all = all + piece(contents(name), 2048, 5 * matte.size());
                dpx.save_pic_fn(name.c_str(), c, width, 0, 0, width - 1, 0, 0);
                all = all + piece(contents(name), 2048, 4 * matte.size());
                dpx.save_mask_fn(name.c_str(), m, width, 0, 0, width - 1, 0, 0);
                all = all + piece(contents(name), 2048, 2 * matte.size());
            }
            trellis::allow_vector_kernels(true);
            EXPECT_EQ(saved[0], saved[1]) << width << ", " << given;
        }
    }
}

}  // namespace
