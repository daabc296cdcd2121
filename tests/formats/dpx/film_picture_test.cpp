// Pictures in film files: placement, orientation, regions, missing lines, memory and failures.

#include <gtest/gtest.h>

#include <climits>

#include "formats/dpx/film_files.h"

namespace {

using namespace support;

// Masks of two lines, 123 and 456, whole and cut: a line that is not wholly in the file is zero,
// whichever part of it is asked for.
TEST(FilmPicture, RectanglesOfAMask) {
    const TempDir dir;
    constexpr char untouched[] = ".... .... ....";
    const struct {
        int orientation;
        std::size_t size;  // of the image data in the file
        int x0, y0, x1, y1, file_x, file_y, code;
        const char* rows;  // of a buffer of 4 × 3 pixels, the highest first
    } cases[] = {
        // Whole, moved, with an offset of either sign.
        {0, 12, 0, 0, 2, 1, 0, 0, 0, ".... 123. 456."},
        {0, 12, 1, 1, 3, 2, 0, 0, 0, ".123 .456 ...."},
        {0, 12, 2, 0, 3, 0, 1, -1, 0, ".... .... ..23"},
        // The same file as two columns, the right one first.
        {5, 12, 0, 0, 1, 2, 0, 0, 0, "41.. 52.. 63.."},
        {5, 12, 0, 0, 0, 1, -1, 1, 0, ".... 1... 2..."},
        // Missing lines.
        {0, 11, 0, 0, 2, 1, 0, 0, 0, ".... 123. 000."},
        {0, 11, 0, 0, 0, 0, 0, 0, 0, ".... .... 0..."},
        {0, 0, 0, 0, 2, 1, 0, 0, 0, ".... 000. 000."},
        {5, 11, 0, 0, 1, 2, 0, 0, 0, "01.. 02.. 03.."},
        {5, 11, 0, 2, 0, 2, 0, 2, 0, "0... .... ...."},
        {5, 5, 0, 0, 1, 2, 0, 0, 0, "00.. 00.. 00.."},
        // Too far to the right, too far up, and nothing at all.
        {0, 12, 0, 0, 1, 1, -2, 0, 9, untouched},
        {0, 12, 0, 0, 1, 1, 0, 1, 9, untouched},
        {0, 12, 0, 0, 0, 0, INT_MIN, 0, 9, untouched},
        {0, 12, INT_MIN, 0, INT_MAX, 0, 0, 0, 9, untouched},
        {0, 12, 1, 0, 0, 1, 99, 99, 0, untouched},
        {5, 12, 0, 0, 1, 1, 1, 0, 9, untouched},
        {5, 12, 0, 0, 0, 0, 0, -3, 9, untouched},
        {5, 12, 0, 0, 1, -1, 99, 99, 0, untouched},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.rows);
        Bytes image = hex("00 40 00 80 00 C0 01 00 01 40 01 80");
        image.resize(c.size);
        const FilmHeader header = {.orientation = c.orientation, .descriptor = 4, .channels = 1, .user_length = 5};
        for (const pic_format* format : {&dpx, &cineon}) {
            const Bytes user_data(format == &dpx ? 0 : 5, 7);
            const std::string name = dir.file("a", header.bytes(*format) + user_data + image);
            for (const int mode : {4, 5, 6}) {
                FilmBuffers loaded(4, 3);
                EXPECT_EQ(loaded.load(*format, name, c.x0, c.y0, c.x1, c.y1, c.file_x, c.file_y, mode), c.code);
                FilmBuffers expected(4, 3);
                for (int i = 0; i < 14 * 4; ++i) {
                    const char digit = c.rows[i / 4];
                    const bool matte = i % 4 == 3;
                    if (digit < '0' || mode == (matte ? 5 : 4)) { continue; }
                    expected.at(i / 4 % 5, 2 - i / 4 / 5, i % 4) = static_cast<std::uint16_t>(matte ? digit - '0' : 0);
                }
                EXPECT_EQ(loaded, expected) << mode;
            }
        }
    }
}

// Every layout, byte order and orientation: any region is the same part of the whole picture.
TEST(FilmPicture, RegionsAreCropsOfTheWhole) {
    const TempDir dir;
    Noise noise(3);
    const auto below = [&](int limit) { return static_cast<int>(noise.next() % static_cast<unsigned int>(limit)); };
    constexpr int width = 701;  // several batches of lines, several strips of columns
    constexpr int height = 301;
    for (int variant = 0; variant < 24; ++variant) {
        const bool turned = variant % 2 == 1;
        constexpr int descriptors[] = {4, 50, 51};
        const FilmHeader header = {.width = turned ? height : width,
                                   .lines = turned ? width : height,
                                   .bits = variant / 6 % 2 == 0 ? 8 : 10,
                                   .orientation = turned ? 5 : 0,
                                   .big = variant / 12 == 0,
                                   .descriptor = descriptors[variant / 2 % 3]};
        Bytes file = header.bytes(dpx);
        for (int i = 0; i < width * height * 5; ++i) { file.push_back(noise.byte()); }
        const std::string name = dir.file("a.dpx", file);
        FilmBuffers whole(width, height);
        ASSERT_EQ(whole.load(dpx, name, 0, 0, width - 1, height - 1), 0);
        ASSERT_EQ(whole.written(), width * height * 4);
        for (int i = 0; i < 6; ++i) {
            const int left = below(width);
            const int bottom = below(height);
            const int w = 1 + below(width - left);
            const int h = 1 + below(height - bottom);
            FilmBuffers region(width + 2, height + 1);
            FilmBuffers expected = region;
            for (int k = 0; k < w * h * 4; ++k) {
                const int x = k / 4 % w;
                const int y = k / 4 / w;
                expected.at(x + 2, y + 1, k % 4) = whole.at(left + x, bottom + y, k % 4);
            }
            const int file_x = i % 2 == 0 ? -left : left;
            ASSERT_EQ(region.load(dpx, name, 2, 1, w + 1, h, file_x, i % 3 == 0 ? bottom : -bottom), 0);
            ASSERT_EQ(region, expected) << variant;
        }
    }
}

TEST(FilmPicture, WhatIsSavedLoadsBack) {
    const TempDir dir;
    const std::string name = dir.path("a");
    for (const auto& [width, height] : {std::pair{1, 1}, {67, 41}, {700, 301}, {40, 9001}}) {
        FilmBuffers saved(width, height);
        saved.fill(width, height);
        for (const auto& [format, orientation] : {std::pair{&dpx, 0}, {&dpx, 5}, {&cineon, 0}, {&cineon, 5}}) {
            SCOPED_TRACE(format->ext + std::to_string(width) + " " + std::to_string(orientation));
            const bool is_dpx = format == &dpx;
            prepare_orientation(*format, orientation);
            ASSERT_EQ(saved.save(*format, 6, name, 0, 0, width - 1, height - 1), 0);
            // In the host's order; the next saves take it for what it is.
            EXPECT_EQ(last_header()[is_dpx ? 768 : 192], orientation);
            for (int i = 0; i < 3; ++i) {
                ASSERT_EQ(saved.save(*format, 6, name, 0, 0, width - 1, height - 1), 0);
                EXPECT_EQ(contents(name)[is_dpx ? 769 : 192], orientation);
            }
            FilmBuffers loaded(width, height);
            ASSERT_EQ(loaded.load(*format, name, 0, 0, width - 1, height - 1), 0);
            EXPECT_EQ(loaded, saved);
            EXPECT_EQ(last_header().size(), is_dpx ? 1664 : 2056);
            EXPECT_EQ(last_header()[is_dpx ? 768 : 192], orientation);
        }
    }
}

// Headers that claim more than their file holds cost what the file holds; pictures cost a batch of
// lines, and small parts of them what they are.
TEST(FilmPicture, Memory) {
    const TempDir dir;
    constexpr std::int64_t huge = 0xFFFFFFFF;
    constexpr std::size_t file_buffer = 64 * 1024;
    const struct {
        std::int64_t width, lines, offset;
        int result;
    } cases[] = {
        {46341, 46341, 2048, 0}, {16, huge, 2048, 0},   {huge, 16, 2048, 0},
        {100, 100, huge, 0},     {huge, huge, 2048, 3},  // the lowest line starts where no file can reach
    };
    FilmBuffers large(1000, 1000);
    const std::string name = dir.path("large");
    for (const int orientation : {0, 5}) {
        for (const auto& c : cases) {
            const FilmHeader header = {
                .width = c.width, .lines = c.lines, .orientation = orientation, .offset = c.offset};
            const std::string claims = dir.file("a.dpx", header.bytes(dpx) + Bytes(63, 7));
            FilmBuffers buffers(16, 16);
            int result = -1;
            EXPECT_LE(memory_of([&] { result = buffers.load(dpx, claims, 0, 0, 15, 15); }), file_buffer);
            EXPECT_EQ(result, c.result);
            EXPECT_EQ(buffers.written(), result == 0 ? 16 * 16 * 4 : 0);
        }
        const std::size_t most = (256 + 1024 + 32) * 1024UL;  // the file's buffer, the batch, a few turned rows
        const auto save = [&](int mode, int side) {
            prepare_orientation(dpx, orientation);
            return large.save(dpx, mode, name, 0, 0, side - 1, side - 1);
        };
        EXPECT_LE(memory_of([&] { save(6, 1000); }), most);
        EXPECT_LE(memory_of([&] { large.load(dpx, name, 0, 0, 999, 999); }), most);
        EXPECT_LE(memory_of([&] { large.load(dpx, name, 0, 0, 15, 15, 300, 300); }), file_buffer + 2 * 16 * 16 * 5);

        // The file's buffer, the lines, and in the turned orientation the pieces of rows.
        const std::vector<int> codes = orientation == 0 ? std::vector{3, 3, 0} : std::vector{3, 3, 3, 0};
        EXPECT_EQ(codes_without_memory([&] { return save(5, 3); }), codes);
        EXPECT_EQ(codes_without_memory([&] { return large.load(dpx, name, 0, 0, 2, 2); }), codes);
    }
}

TEST(FilmPicture, FailingSaves) {
    const TempDir dir;
    FilmBuffers buffers(300, 300);
    const std::string name = dir.path("a");
    const struct {
        std::string name;
        int orientation;
        int x0, y0, x1, y1, code;
    } cases[] = {
        {dir.path("missing/a"), 0, 0, 0, 1, 1, 6},
        {"/dev/full", 0, 0, 0, 1, 1, 2},
        {"/dev/full", 0, 0, 0, 299, 299, 2},
        // These leave a file of a header: an orientation that nothing is saved in, rectangles
        // without lines, without pixels, and with less than none.
        {name, 2, 0, 0, 1, 1, 5},
        {name, 0, 0, 1, 1, 0, 0},
        {name, 0, 1, 0, 0, 1, 0},
        {name, 0, 9, 0, 0, 1, 3},
    };
    for (const auto& c : cases) {
        for (const pic_format* format : {&dpx, &cineon}) {
            prepare_orientation(*format, c.orientation);
            EXPECT_EQ(buffers.save(*format, 5, c.name, c.x0, c.y0, c.x1, c.y1), c.code);
            EXPECT_TRUE(c.name != name || contents(name).size() == image_start(*format)) << &c - cases;
        }
    }
}

}  // namespace
