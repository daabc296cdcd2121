// Pictures in film files: placement, orientation, regions, missing lines, memory and failures.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <climits>
#include <thread>

#include "formats/dpx/film_files.h"
#include "frame/cpu.h"

namespace {

using namespace support;

// A mask file whose pixels are coded 1, 2, 3, … 6 in the file's order.
Bytes counted(const Bytes& header) { return header + hex("00 40 00 80 00 C0 01 00 01 40 01 80"); }

using Rows = std::vector<std::vector<int>>;  // of matte samples, the highest row first

Rows rows_of(FilmBuffers& buffers, int width, int height) {
    Rows rows;
    for (int y = height - 1; y >= 0; --y) {
        rows.emplace_back();
        for (int x = 0; x < width; ++x) { rows.back().push_back(buffers.matte.at(x, y)); }
    }
    return rows;
}

TEST(FilmPicture, PlacementInBothOrientations) {
    const TempDir dir;
    constexpr int f = 0xA5A5;  // filler
    const struct {
        int orientation, x0, y0, x1, y1, file_x, file_y;
        Rows rows;  // of a 4 × 3 buffer
    } cases[] = {
        // Two lines of three pixels: whole, moved, the lower row, offsets of either sign.
        {0, 0, 0, 2, 1, 0, 0, {{f, f, f, f}, {1, 2, 3, f}, {4, 5, 6, f}}},
        {0, 1, 1, 3, 2, 0, 0, {{f, 1, 2, 3}, {f, 4, 5, 6}, {f, f, f, f}}},
        {0, 0, 2, 2, 2, 0, 0, {{4, 5, 6, f}, {f, f, f, f}, {f, f, f, f}}},
        {0, 3, 0, 3, 0, -1, -1, {{f, f, f, f}, {f, f, f, f}, {f, f, f, 2}}},
        {0, 2, 0, 3, 0, 1, 1, {{f, f, f, f}, {f, f, f, f}, {f, f, 2, 3}}},
        // The same file as two columns, the right one first.
        {5, 0, 0, 1, 2, 0, 0, {{4, 1, f, f}, {5, 2, f, f}, {6, 3, f, f}}},
        {5, 3, 1, 3, 2, 0, 0, {{f, f, f, 5}, {f, f, f, 6}, {f, f, f, f}}},
        {5, 0, 0, 0, 1, -1, 1, {{f, f, f, f}, {1, f, f, f}, {2, f, f, f}}},
    };
    for (const auto& c : cases) {
        // Cineon images follow the user data.
        const Bytes header = CineonHeader{3, 2, 1, c.orientation, 10, {0, 5, 0, 0}, 1024, 5}.bytes();
        const std::pair<const pic_format&, std::string> files[] = {
            {dpx, dir.file("a.dpx", counted(DpxHeader{3, 2, 4, 10, c.orientation}.bytes()))},
            {cineon, dir.file("a.cin", counted(header + Bytes(5, 7)))}};
        for (const auto& [format, name] : files) {
            FilmBuffers buffers(4, 3);
            ASSERT_EQ(format.load_mask_fn(name.c_str(), buffers.matte.data(), buffers.matte.pitch(), c.x0, c.y0, c.x1,
                                          c.y1, c.file_x, c.file_y),
                      0);
            EXPECT_EQ(rows_of(buffers, 4, 3), c.rows) << &c - cases;
            EXPECT_EQ(buffers.written(), (c.x1 - c.x0 + 1) * (c.y1 - c.y0 + 1));
        }
    }
}

// Every layout, byte order and orientation: any region is the same part of the whole picture, also
// without the vector kernels that have loaded that.
TEST(FilmPicture, RegionsAreCropsOfTheWhole) {
    const TempDir dir;
    Noise noise(3);
    const auto below = [&](int limit) { return static_cast<int>(noise.next() % static_cast<unsigned int>(limit)); };
    for (int variant = 0; variant < 48; ++variant) {
        const bool large = variant >= 24;  // several batches of lines, several strips of columns
        const int width = large ? 700 : 37;
        const int height = large ? 300 : 23;
        const bool turned = variant % 2 == 1;
        const int descriptor = std::array{4, 50, 51}[static_cast<std::size_t>(variant / 2 % 3)];
        const DpxHeader header = {static_cast<std::uint64_t>(turned ? height : width),
                                  static_cast<std::uint64_t>(turned ? width : height),
                                  descriptor,
                                  variant / 6 % 2 == 0 ? 8 : 10,
                                  turned ? 5 : 0,
                                  variant / 12 % 2 == 0};
        Bytes file = header.bytes();
        for (int i = 0; i < width * height * 5; ++i) { file.push_back(noise.byte()); }
        const std::string name = dir.file("a.dpx", file);
        FilmBuffers whole(width, height);
        ASSERT_EQ(whole.load(dpx, name, 0, 0, width - 1, height - 1), 0);
        ASSERT_EQ(whole.written(), width * height * 4);
        for (int i = 0; i < (large ? 4 : 12); ++i) {
            const int left = below(width);
            const int bottom = below(height);
            const int w = 1 + below(width - left);
            const int h = 1 + below(height - bottom);
            FilmBuffers region(width + 2, height + 1);
            FilmBuffers expected = region;
            for (int k = 0; k < w * h; ++k) {
                const int x = k % w;
                const int y = k / w;
                expected.matte.at(x + 2, y + 1) = whole.matte.at(left + x, bottom + y);
                for (int c = 0; c < 3; ++c) {
                    expected.colour.at(x + 2, y + 1, c) = whole.colour.at(left + x, bottom + y, c);
                }
            }
            trellis::allow_vector_kernels(i % 2 == 0);
            const int code = region.load(dpx, name, 2, 1, w + 1, h, i % 4 < 2 ? -left : left, i % 3 ? -bottom : bottom);
            trellis::allow_vector_kernels(true);
            ASSERT_EQ(code, 0);
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
        for (const int i : {0, 1, 2, 3}) {
            const pic_format& format = i < 2 ? dpx : cineon;
            const int orientation = i % 2 * 5;
            prepare_orientation(format, orientation);
            ASSERT_EQ(saved.save(format, 6, name, 0, 0, width - 1, height - 1), 0);
            // In the host's order: the next save would take it for another number.
            EXPECT_TRUE(i > 1 || last_header()[768] == orientation);
            EXPECT_EQ(saved.save(format, 6, dir.path("b"), 0, 0, 0, 0), i == 1 ? 5 : 0);
            FilmBuffers loaded(width, height);
            ASSERT_EQ(loaded.load(format, name, 0, 0, width - 1, height - 1), 0);
            EXPECT_EQ(loaded, saved) << width << " " << i;
            EXPECT_EQ(last_header().size(), i < 2 ? 1664 : 2056);
            EXPECT_TRUE(i > 1 || last_header()[768] == orientation);
        }
    }
}

// A line that is not wholly in the file is zero, whichever part of it was asked for.
TEST(FilmPicture, MissingLines) {
    const TempDir dir;
    const struct {
        int orientation;
        std::size_t bytes;  // of image data, 12 in all
        Rows whole;         // 3 × 2, or 2 × 3
        Rows corner;        // the lower left pixel
    } cases[] = {
        {0, 12, {{1, 2, 3}, {4, 5, 6}}, {{4}}},   {0, 11, {{1, 2, 3}, {0, 0, 0}}, {{0}}},
        {0, 6, {{1, 2, 3}, {0, 0, 0}}, {{0}}},    {0, 5, {{0, 0, 0}, {0, 0, 0}}, {{0}}},
        {0, 0, {{0, 0, 0}, {0, 0, 0}}, {{0}}},    {5, 11, {{0, 1}, {0, 2}, {0, 3}}, {{0}}},
        {5, 12, {{4, 1}, {5, 2}, {6, 3}}, {{6}}}, {5, 5, {{0, 0}, {0, 0}, {0, 0}}, {{0}}},
    };
    for (const auto& c : cases) {
        Bytes file = counted(DpxHeader{3, 2, 4, 10, c.orientation}.bytes());
        file.resize(2048 + c.bytes);
        const std::string name = dir.file("a.dpx", file);
        const int width = static_cast<int>(c.whole[0].size());
        const int height = static_cast<int>(c.whole.size());
        FilmBuffers buffers(3, 3);
        ASSERT_EQ(buffers.load(dpx, name, 0, 0, width - 1, height - 1), 0);
        EXPECT_EQ(rows_of(buffers, width, height), c.whole) << c.bytes;
        EXPECT_EQ(buffers.written(), 6 * 4);
        ASSERT_EQ(buffers.load(dpx, name, 0, 0, 0, 0), 0);
        EXPECT_EQ(rows_of(buffers, 1, 1), c.corner) << c.bytes;
    }
}

TEST(FilmPicture, RectanglesOutsideThePicture) {
    const TempDir dir;
    const struct {
        int x0, y0, x1, y1, file_x, file_y;
        int upright, turned;  // results for a picture of 3 × 2, and of 2 × 3
    } cases[] = {
        {0, 0, 1, 1, 0, 0, 0, 0},       {0, 0, 2, 1, 0, 0, 0, 9},
        {0, 0, 1, 2, 0, 0, 9, 0},       {0, 0, 1, 1, -1, 0, 0, 9},
        {0, 0, 1, 1, 0, 1, 9, 0},       {0, 0, 0, 0, 3, 0, 9, 9},
        {0, 0, 0, 0, 0, -3, 9, 9},      {INT_MIN, 0, INT_MAX, 0, 0, 0, 9, 9},
        {0, 0, 0, 0, INT_MIN, 0, 9, 9}, {1, 0, 0, 1, 99, 99, 0, 0},  // empty: nothing to do
    };
    for (const auto& c : cases) {
        for (const int orientation : {0, 5}) {
            const int code = orientation == 0 ? c.upright : c.turned;
            const Bytes header = DpxHeader{3, 2, 4, 10, orientation}.bytes();
            FilmBuffers buffers(3, 3);
            EXPECT_EQ(buffers.load(dpx, dir.file("a.dpx", counted(header)), c.x0, c.y0, c.x1, c.y1, c.file_x, c.file_y),
                      code);
            EXPECT_EQ(buffers.written() > 0, code == 0 && c.x1 >= c.x0) << &c - cases;
        }
    }
}

// Headers that claim more than their file holds cost what the file holds; pictures cost a batch of
// lines, and small parts of them what they are.
TEST(FilmPicture, Memory) {
    const TempDir dir;
    constexpr std::uint64_t huge = 0xFFFFFFFF;
    constexpr std::size_t file_buffer = 64 * 1024;
    const struct {
        std::uint64_t width, lines, offset;
        int result;
    } cases[] = {
        {46341, 46341, 2048, 0}, {16, huge, 2048, 0},   {huge, 16, 2048, 0},
        {100, 100, huge, 0},     {huge, huge, 2048, 3},  // the lowest line starts where no file can
                                                         // reach
    };
    FilmBuffers large(1000, 1000);
    const std::string name = dir.path("large");
    for (const int orientation : {0, 5}) {
        for (const auto& c : cases) {
            const DpxHeader header = {c.width, c.lines, 50, 10, orientation, true, 1, c.offset};
            const std::string claims = dir.file("a.dpx", header.bytes() + Bytes(63, 7));
            FilmBuffers buffers(16, 16);
            int result = -1;
            EXPECT_LE(memory_of([&] { result = buffers.load(dpx, claims, 0, 0, 15, 15); }), file_buffer);
            EXPECT_EQ(result, c.result);
            EXPECT_EQ(buffers.written(), result == 0 ? 16 * 16 * 4 : 0);
            EXPECT_EQ(buffers.colour.at(0, 0), result == 0 ? 0 : buffers.colour.filler);
        }
        const std::size_t most = (256 + 1024 + 32) * 1024UL;  // the file's buffer, the batch, a few turned rows
        prepare_orientation(dpx, orientation);
        EXPECT_LE(memory_of([&] { large.save(dpx, 6, name, 0, 0, 999, 999); }), most);
        EXPECT_LE(memory_of([&] { large.load(dpx, name, 0, 0, 999, 999); }), most);
        EXPECT_LE(memory_of([&] { large.load(dpx, name, 0, 0, 15, 15, 300, 300); }), file_buffer + 2 * 16 * 16 * 5);

        // The file's buffer, the lines, and in the turned orientation the pieces of rows.
        const std::vector<int> codes = orientation == 0 ? std::vector{3, 3, 0} : std::vector{3, 3, 3, 0};
        const auto save = [&] {
            prepare_orientation(dpx, orientation);
            return large.save(dpx, 5, name, 0, 0, 2, 2);
        };
        EXPECT_EQ(codes_without_memory(save), codes);
        EXPECT_EQ(codes_without_memory([&] { return large.load(dpx, name, 0, 0, 2, 2); }), codes);
    }
}

TEST(FilmPicture, FailingSaves) {
    const TempDir dir;
    FilmBuffers buffers(300, 300);
    const std::string name = dir.path("a");
    const struct {
        std::string name;
        int orientation, x0, y0, x1, y1, code;
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
            EXPECT_TRUE(c.name != name || contents(name).size() == (format == &dpx ? 2048 : 26624)) << &c - cases;
        }
    }
}

TEST(FilmPicture, FilesThatCannotSeek) {
    const TempDir dir;
    const std::string name = dir.path("pipe");
    ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
    const std::pair<const pic_format&, Bytes> files[] = {{dpx, DpxHeader{.offset = 1664}.bytes()},
                                                         {cineon, CineonHeader{}.bytes()}};
    for (const auto& [format, bytes] : files) {
        std::thread writer([&, &data = bytes] { dir.file("pipe", data); });
        FilmBuffers buffers(3, 2);
        EXPECT_EQ(buffers.load(format, name, 0, 0, 2, 1), 16);
        EXPECT_EQ(buffers.written(), 0);
        writer.join();
    }
}

}  // namespace
