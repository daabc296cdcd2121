// The packed layouts: hand-written bytes both ways.

#include <gtest/gtest.h>

#include <array>

#include "formats/dpx/film_files.h"

namespace {

using namespace support;
using Samples = std::array<std::uint16_t, 4>;  // colour values 0, 1 and 2, matte

// One pixel, at (1, 1).
FilmBuffers pixel_of(const Samples& samples, int mode = 6) {
    FilmBuffers buffers(2, 2);
    std::copy_n(samples.begin(), mode == 4 ? 0 : 3, &buffers.at(1, 1, 0));
    std::copy_n(samples.begin() + 3, mode == 5 ? 0 : 1, &buffers.at(1, 1, 3));
    return buffers;
}

TEST(FilmPixels, PackedBytes) {
    const TempDir dir;
    const struct {
        int descriptor, bits;
        bool big;
        const char* bytes;
        Samples loaded;
        Samples saved = {};  // what a save packs in these bytes: what does not fit is dropped
    } cases[] = {
        {50, 10, true, "00 C0 20 04", {1, 2, 3, 0}, {1, 2, 3, 9}},
        {50, 10, true, "FF C0 0F FC", {1023, 0, 1023, 0}, {1023, 0, 1023, 9}},
        {50, 10, true, "00 40 0F FC", {1023, 0, 1, 0}, {0xFFFF, 0xF800, 0xFC01, 9}},
        {50, 10, true, "FF C0 20 05", {1, 2, 1023, 0}},
        {50, 10, false, "05 20 C0 FF", {1, 2, 1023, 0}},
        {0, 10, true, "00 C0 20 04", {1, 2, 3, 0}},  // an unknown descriptor is a picture
        {6, 10, false, "04 20 C0 00", {1, 2, 3, 0}},
        {51, 10, true, "00 C0 20 05 55", {1, 2, 3, 0x155}, {1, 2, 3, 0x155}},
        {51, 10, true, "00 3F F0 03 FF", {0, 1023, 0, 1023}, {0, 1023, 0, 0xFFFF}},
        {52, 10, false, "00 C0 20 05 55", {1, 2, 3, 0x155}},  // groups are always big-endian
        {4, 10, true, "FF C0", {0, 0, 0, 1023}, {9, 9, 9, 16368}},
        {4, 10, true, "00 40", {0, 0, 0, 1}, {9, 9, 9, 0x001F}},
        {4, 10, true, "00 00", {0, 0, 0, 0}, {9, 9, 9, 0xC00F}},
        {4, 10, true, "FF D5", {0, 0, 0, 1023}},
        {4, 10, false, "01 7F", {0, 0, 0, 5}},
        {50, 8, true, "03 02 01", {1, 2, 3, 0}},
        {50, 8, false, "FF 02 01", {1, 2, 255, 0}},
        {51, 8, false, "03 02 01 FF", {1, 2, 3, 255}},
        {4, 8, true, "FF", {0, 0, 0, 255}},
        {50, 12, true, "FF", {0, 0, 0, 0}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.bytes);
        const FilmHeader header = {.width = 1, .lines = 1, .bits = c.bits, .big = c.big, .descriptor = c.descriptor};
        const std::string name = dir.file("a", header.bytes(dpx) + hex(c.bytes));
        for (const int mode : {4, 5, 6}) {
            FilmBuffers buffers(2, 2);
            EXPECT_EQ(buffers.load(dpx, name, 1, 1, 1, 1, 0, 0, mode), 0);
            EXPECT_EQ(buffers, pixel_of(c.loaded, mode)) << mode;
        }
        EXPECT_EQ(dpx.load_cut_fn(name.c_str(), nullptr, 1, nullptr, 1, 0, 0, 0, 0, 0, 0), 0);
        if (c.saved == Samples{}) { continue; }
        for (const pic_format* format : {&dpx, &cineon}) {
            free_last_header_trellis();
            const int mode = c.descriptor == 4 ? 4 : c.descriptor - 45;
            ASSERT_EQ(pixel_of(c.saved).save(*format, mode, name, 1, 1, 1, 1), 0);
            EXPECT_EQ(piece(contents(name), image_start(*format)), hex(c.bytes));
            // Buffers that are not there are saved as zero.
            ASSERT_EQ(format->save_cut_fn(name.c_str(), nullptr, 1, nullptr, 1, 0, 0, 0, 0, 0), 0);
            EXPECT_EQ(piece(contents(name), 2048), zeros(image_start(*format) - 2048 + 5));
        }
    }
}

}  // namespace
