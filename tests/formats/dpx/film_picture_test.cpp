// Pictures in film files: placement, orientation, regions, missing lines, memory and failures.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <climits>
#include <fstream>
#include <thread>

#include "formats/dpx/film_files.h"

namespace {

using support::be;
using support::Bytes;
using support::cineon;
using support::CineonHeader;
using support::dpx;
using support::DpxHeader;
using support::FilmBuffers;
using support::last_header;
using support::prepare_header;
using support::operator+;

// A mask file of either format whose pixels are coded 1, 2, 3, … in the file's order.
Bytes counted(const Bytes& header, int pixels) {
    Bytes file = header;
    for (int i = 1; i <= pixels; ++i) {
        file = file + be(static_cast<std::uint64_t>(i) << 6, 2);
    }
    return file;
}

// Rows of matte samples, the highest first.
using Rows = std::vector<std::vector<int>>;

Rows rows_of(FilmBuffers& buffers, int width, int height) {
    Rows rows;
    for (int y = height - 1; y >= 0; --y) {
        rows.emplace_back();
        for (int x = 0; x < width; ++x) {
            rows.back().push_back(buffers.matte.at(x, y));
        }
    }
    return rows;
}

TEST(FilmPicture, PlacementInBothOrientations) {
    const support::TempDir dir;
    constexpr int f = 0xA5A5;  // filler
    const struct {
        const char* what;
        int orientation;
        int x0, y0, x1, y1, file_x, file_y;
        Rows rows;  // of a 4 × 3 buffer
    } cases[] = {
        // Lines of three pixels, two of them.
        {"whole", 0, 0, 0, 2, 1, 0, 0, {{f, f, f, f}, {1, 2, 3, f}, {4, 5, 6, f}}},
        {"moved", 0, 1, 1, 3, 2, 0, 0, {{f, 1, 2, 3}, {f, 4, 5, 6}, {f, f, f, f}}},
        {"lower row", 0, 0, 2, 2, 2, 0, 0, {{4, 5, 6, f}, {f, f, f, f}, {f, f, f, f}}},
        {"offsets", 0, 3, 0, 3, 0, -1, -1, {{f, f, f, f}, {f, f, f, f}, {f, f, f, 2}}},
        {"other sign", 0, 2, 0, 3, 0, 1, 1, {{f, f, f, f}, {f, f, f, f}, {f, f, 2, 3}}},
        // The same file as two columns of three pixels, the right one first.
        {"whole", 5, 0, 0, 1, 2, 0, 0, {{4, 1, f, f}, {5, 2, f, f}, {6, 3, f, f}}},
        {"left column", 5, 3, 1, 3, 2, 0, 0, {{f, f, f, 5}, {f, f, f, 6}, {f, f, f, f}}},
        {"offsets", 5, 0, 0, 0, 1, -1, -1, {{f, f, f, f}, {1, f, f, f}, {2, f, f, f}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.what) + " " + std::to_string(c.orientation));
        const DpxHeader dpx_header = {.descriptor = 4, .orientation = c.orientation};
        const CineonHeader cineon_header = {
            .channels = 1, .orientation = c.orientation, .user_length = 5};
        const std::pair<const pic_format&, std::string> files[] = {
            {dpx(), dir.file("a.dpx", counted(dpx_header.bytes(), 6))},
            {cineon(), dir.file("a.cin", counted(cineon_header.bytes() + Bytes(5, 7), 6))}};
        for (const auto& [format, name] : files) {
            FilmBuffers buffers(4, 3);
            ASSERT_EQ(format.load_mask_fn(name.c_str(), buffers.matte.data(), buffers.matte.pitch(),
                                          c.x0, c.y0, c.x1, c.y1, c.file_x, c.file_y),
                      0);
            EXPECT_EQ(rows_of(buffers, 4, 3), c.rows);
            EXPECT_EQ(buffers.written(), (c.x1 - c.x0 + 1) * (c.y1 - c.y0 + 1));

            // A save of what a whole load has placed gives the file's lines again.
            if (c.file_x == 0 && std::string(c.what) == "whole") {
                Bytes header =
                    format.type == 33 ? dpx_header.bytes() : cineon_header.bytes() + Bytes(8, 0);
                prepare_header(static_cast<int>(format.type), header);
                for (int y = c.y0; y <= c.y1; ++y) {
                    for (int x = c.x0; x <= c.x1; ++x) {
                        buffers.matte.at(x, y) =
                            static_cast<std::uint16_t>(buffers.matte.at(x, y) << 4);
                    }
                }
                const std::string saved = dir.path("saved");
                ASSERT_EQ(buffers.save(format, 4, saved, c.x0, c.y0, c.x1, c.y1), 0);
                const Bytes file = support::contents(saved);
                EXPECT_EQ(Bytes(file.end() - 12, file.end()), counted({}, 6));
                const std::size_t at = format.type == 33 ? 772 : 200;
                EXPECT_EQ(Bytes(file.begin() + static_cast<std::ptrdiff_t>(at),
                                file.begin() + static_cast<std::ptrdiff_t>(at) + 8),
                          be(3, 4) + be(2, 4));
            }
        }
    }
}

// Every layout, byte order and orientation: any region is the same part of the whole picture.
TEST(FilmPicture, RegionsAreCropsOfTheWhole) {
    const support::TempDir dir;
    support::Noise noise(3);
    const struct { int width, height, regions; } sizes[] = {{37, 23, 12}, {700, 300, 4}};
    for (const auto& size : sizes) {
        for (const int descriptor : {4, 50, 51}) {
            for (const int variant : {0, 1, 2, 3, 4, 5, 6, 7}) {
                const bool turned = (variant & 1) != 0;
                const auto width = static_cast<std::uint64_t>(size.width);
                const auto height = static_cast<std::uint64_t>(size.height);
                const DpxHeader header = {.width = turned ? height : width,
                                          .lines = turned ? width : height,
                                          .descriptor = descriptor,
                                          .bit_size = (variant & 2) != 0 ? 8 : 10,
                                          .orientation = turned ? 5 : 0,
                                          .big = (variant & 4) == 0};
                Bytes file = header.bytes();
                file.resize(file.size() + width * height * 5);
                for (std::size_t i = 2048; i < file.size(); ++i) {
                    file[i] = noise.byte();
                }
                const std::string name = dir.file("a.dpx", file);
                FilmBuffers whole(size.width, size.height);
                ASSERT_EQ(whole.load(dpx(), name, 0, 0, size.width - 1, size.height - 1), 0);
                ASSERT_EQ(whole.written(), size.width * size.height * 4);
                for (int i = 0; i < size.regions; ++i) {
                    const auto below = [&](int limit) {
                        return static_cast<int>(noise.next() % static_cast<unsigned int>(limit));
                    };
                    const int left = below(size.width);
                    const int bottom = below(size.height);
                    const int w = 1 + below(size.width - left);
                    const int h = 1 + below(size.height - bottom);
                    FilmBuffers region(size.width + 2, size.height + 1);
                    FilmBuffers expected = region;
                    for (int y = 0; y < h; ++y) {
                        for (int x = 0; x < w; ++x) {
                            expected.matte.at(x + 2, y + 1) = whole.matte.at(left + x, bottom + y);
                            for (int c = 0; c < 3; ++c) {
                                expected.colour.at(x + 2, y + 1, c) =
                                    whole.colour.at(left + x, bottom + y, c);
                            }
                        }
                    }
                    ASSERT_EQ(region.load(dpx(), name, 2, 1, w + 1, h, i % 2 == 0 ? -left : left,
                                          i % 3 == 0 ? bottom : -bottom),
                              0);
                    ASSERT_EQ(region.colour, expected.colour) << descriptor << " " << variant;
                    ASSERT_EQ(region.matte, expected.matte) << descriptor << " " << variant;
                }
            }
        }
    }
}

TEST(FilmPicture, WhatIsSavedLoadsBack) {
    const support::TempDir dir;
    const std::string name = dir.path("a");
    const struct {
        int width, height;
    } sizes[] = {{1, 1}, {5, 3}, {67, 41}, {700, 301}, {30000, 20}, {40, 3001}};
    for (const pic_format* format : {&dpx(), &cineon()}) {
        for (const int orientation : {0, 5}) {
            for (const auto& [w, h] : sizes) {
                FilmBuffers saved(w + 1, h + 2);
                saved.fill(w + 1, h + 2);
                FilmBuffers loaded(w + 1, h + 2);
                const bool is_dpx = format == &dpx();
                prepare_header(
                    static_cast<int>(format->type),
                    is_dpx ? DpxHeader{.orientation = orientation}.bytes()
                           : CineonHeader{.orientation = orientation}.bytes() + Bytes(8, 0));
                ASSERT_EQ(saved.save(*format, 6, name, 1, 2, w, h + 1), 0);
                if (is_dpx) {
                    // The host's order is left behind, and a save does not take it for its own.
                    EXPECT_EQ(last_header()[768], orientation);
                }
                ASSERT_EQ(loaded.load(*format, name, 1, 2, w, h + 1), 0);
                if (is_dpx) {
                    EXPECT_EQ(last_header().size(), 1664U);
                    EXPECT_EQ(last_header()[768], orientation);
                }
                for (int y = 0; y < h + 2; ++y) {
                    for (int x = 0; x < w + 1; ++x) {
                        if (x < 1 || y < 2) {
                            loaded.matte.at(x, y) = saved.matte.at(x, y);
                            for (int c = 0; c < 3; ++c) {
                                loaded.colour.at(x, y, c) = saved.colour.at(x, y, c);
                            }
                        }
                    }
                }
                EXPECT_EQ(loaded.colour, saved.colour) << w << " × " << h << " " << orientation;
                EXPECT_EQ(loaded.matte, saved.matte) << w << " × " << h << " " << orientation;
            }
        }
    }
}

// A line that is not wholly in the file is zero, whichever part of it was asked for.
TEST(FilmPicture, MissingLines) {
    const support::TempDir dir;
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
        Bytes file = counted(DpxHeader{.descriptor = 4, .orientation = c.orientation}.bytes(), 6);
        file.resize(2048 + c.bytes);
        const std::string name = dir.file("a.dpx", file);
        const int w = static_cast<int>(c.whole[0].size());
        const int h = static_cast<int>(c.whole.size());
        FilmBuffers buffers(3, 3);
        ASSERT_EQ(buffers.load(dpx(), name, 0, 0, w - 1, h - 1), 0);
        EXPECT_EQ(rows_of(buffers, w, h), c.whole) << c.bytes;
        EXPECT_EQ(buffers.written(), 6 * 4);
        ASSERT_EQ(buffers.load(dpx(), name, 0, 0, 0, 0), 0);
        EXPECT_EQ(rows_of(buffers, 1, 1), c.corner) << c.bytes;
    }
}

TEST(FilmPicture, RectanglesOutsideThePicture) {
    const support::TempDir dir;
    const struct {
        int x0, y0, x1, y1, file_x, file_y;
        int upright, turned;  // results for a picture of 3 × 2, and of 2 × 3
    } cases[] = {
        {0, 0, 1, 1, 0, 0, 0, 0},
        {0, 0, 2, 1, 0, 0, 0, 9},
        {0, 0, 1, 2, 0, 0, 9, 0},
        {0, 0, 1, 1, -1, 0, 0, 9},
        {0, 0, 1, 1, 0, 1, 9, 0},
        {0, 0, 0, 0, 3, 0, 9, 9},
        {0, 0, 0, 0, 0, -3, 9, 9},
        {0, 0, 0, 0, INT_MIN, 0, 9, 9},
        {INT_MIN, 0, INT_MAX, 0, 0, 0, 9, 9},
        {1, 0, 0, 1, 0, 0, 0, 0},
        {0, 5, 1, 4, 99, 99, 0, 0},  // empty: nothing to do
    };
    const std::string upright = dir.file("a.dpx", counted(DpxHeader{.descriptor = 4}.bytes(), 6));
    const std::string turned =
        dir.file("b.dpx", counted(DpxHeader{.descriptor = 4, .orientation = 5}.bytes(), 6));
    for (const auto& c : cases) {
        for (const auto& [name, code] : {std::pair{upright, c.upright}, {turned, c.turned}}) {
            FilmBuffers buffers(3, 3);
            EXPECT_EQ(buffers.load(dpx(), name, c.x0, c.y0, c.x1, c.y1, c.file_x, c.file_y), code);
            const bool empty = c.x1 < c.x0 || c.y1 < c.y0;
            EXPECT_EQ(buffers.written() > 0, code == 0 && !empty);
        }
    }
}

// Headers that claim more than their file holds cost what the file holds.
TEST(FilmPicture, ClaimsAreNotBelieved) {
    const support::TempDir dir;
    constexpr std::uint64_t huge = 0xFFFFFFFF;
    const struct {
        std::uint64_t width, lines, offset;
        int result;
    } cases[] = {
        {46341, 46341, 2048, 0}, {16, huge, 2048, 0},   {huge, 16, 2048, 0},
        {100, 100, huge, 0},     {huge, huge, 2048, 3},  // the lowest line starts where no file can
                                                         // reach
    };
    for (const int orientation : {0, 5}) {
        for (const auto& c : cases) {
            const DpxHeader header = {
                .width = c.width, .lines = c.lines, .orientation = orientation, .offset = c.offset};
            const std::string name = dir.file("a.dpx", header.bytes() + Bytes(500, 7));
            FilmBuffers buffers(16, 16);
            int result = -1;
            EXPECT_LE(support::memory_of([&] { result = buffers.load(dpx(), name, 0, 0, 15, 15); }),
                      64 * 1024);
            EXPECT_EQ(result, c.result) << c.width << " × " << c.lines;
            EXPECT_EQ(buffers.written(), c.result == 0 ? 16 * 16 * 4 : 0);
            EXPECT_EQ(buffers.colour.at(0, 0), c.result == 0 ? 0 : buffers.colour.filler);
        }
    }
}

TEST(FilmPicture, MemoryIsThatOfAFewLines) {
    const support::TempDir dir;
    const std::string name = dir.path("a.dpx");
    FilmBuffers buffers(1000, 1000);
    buffers.fill(1000, 1000);
    free_last_header_trellis();
    constexpr std::size_t most = (64 + 512) * 1024;
    EXPECT_LE(support::memory_of([&] { buffers.save(dpx(), 6, name, 0, 0, 999, 999); }), most);
    EXPECT_LE(support::memory_of([&] { buffers.load(dpx(), name, 0, 0, 999, 999); }), most);
    EXPECT_LE(support::memory_of([&] { buffers.load(dpx(), name, 0, 0, 15, 15, 300, 300); }),
              64 * 1024 + 16 * 16 * 5);
}

TEST(FilmPicture, RunningOutOfMemory) {
    const support::TempDir dir;
    const std::string name = dir.path("a.dpx");
    FilmBuffers buffers(3, 3);
    for (const int orientation : {0, 5}) {
        // The file's buffer, the lines, and in the turned orientation the pieces of rows.
        const std::vector<int> codes =
            orientation == 0 ? std::vector{3, 3, 0} : std::vector{3, 3, 3, 0};
        EXPECT_EQ(support::codes_without_memory([&] {
                      prepare_header(33, DpxHeader{.orientation = orientation}.bytes());
                      return buffers.save(dpx(), 5, name, 0, 0, 2, 2);
                  }),
                  codes);
        EXPECT_EQ(
            support::codes_without_memory([&] { return buffers.load(dpx(), name, 0, 0, 2, 2); }),
            codes);
    }
}

TEST(FilmPicture, FailingSaves) {
    const support::TempDir dir;
    FilmBuffers buffers(300, 300);
    for (const auto& [format, header_size] : {std::pair{&dpx(), 2048}, {&cineon(), 26624}}) {
        free_last_header_trellis();
        EXPECT_EQ(buffers.save(*format, 5, dir.path("missing/a"), 0, 0, 1, 1), 6);
        EXPECT_EQ(buffers.save(*format, 5, "/dev/full", 0, 0, 1, 1), 2);
        EXPECT_EQ(buffers.save(*format, 5, "/dev/full", 0, 0, 299, 299), 2);

        // An orientation that nothing can be saved in is found after the header is in the file.
        const std::string name = dir.path("a");
        for (const int orientation : {1, 0x0500}) {
            const bool is_dpx = format == &dpx();
            prepare_header(
                static_cast<int>(format->type),
                is_dpx ? DpxHeader{.orientation = orientation}.bytes()
                       : CineonHeader{.orientation = orientation | 2}.bytes() + Bytes(8, 0));
            EXPECT_EQ(buffers.save(*format, 5, name, 0, 0, 1, 1), 5);
            EXPECT_EQ(support::contents(name).size(), static_cast<std::size_t>(header_size));
        }
        // Rectangles without lines or pixels make a file of a header.
        free_last_header_trellis();
        EXPECT_EQ(buffers.save(*format, 5, name, 0, 1, 1, 0), 0);
        EXPECT_EQ(support::contents(name).size(), static_cast<std::size_t>(header_size));
        EXPECT_EQ(buffers.save(*format, 5, name, 1, 0, 0, 1), 0);
        EXPECT_EQ(buffers.save(*format, 5, name, 9, 0, 0, 1), 3);
    }
}

TEST(FilmPicture, MissingBuffersAreSavedAsZero) {
    const support::TempDir dir;
    const std::string name = dir.path("a.dpx");
    FilmBuffers buffers(9, 1);
    buffers.fill(9, 1);
    for (const bool colour : {true, false}) {
        for (const bool matte : {true, false}) {
            free_last_header_trellis();
            ASSERT_EQ(dpx().save_cut_fn(name.c_str(), colour ? buffers.colour.data() : nullptr, 9,
                                        matte ? buffers.matte.data() : nullptr, 9, 0, 0, 8, 0, 0),
                      0);
            FilmBuffers loaded(9, 1);
            ASSERT_EQ(loaded.load(dpx(), name, 0, 0, 8, 0), 0);
            for (int x = 0; x < 9; ++x) {
                EXPECT_EQ(loaded.colour.at(x, 0, 1), colour ? buffers.colour.at(x, 0, 1) : 0);
                EXPECT_EQ(loaded.matte.at(x, 0), matte ? buffers.matte.at(x, 0) : 0);
            }
        }
    }
}

TEST(FilmPicture, FilesThatCannotSeek) {
    const support::TempDir dir;
    const std::string name = dir.path("pipe");
    ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
    const std::pair<const pic_format&, Bytes> files[] = {{dpx(), DpxHeader{.offset = 1664}.bytes()},
                                                         {cineon(), CineonHeader{}.bytes()}};
    for (const auto& [format, bytes] : files) {
        std::thread writer([&name, &data = bytes] {
            std::ofstream(name, std::ios::binary)
                .write(reinterpret_cast<const char*>(data.data()),
                       static_cast<std::streamsize>(data.size()));
        });
        FilmBuffers buffers(3, 2);
        EXPECT_EQ(buffers.load(format, name, 0, 0, 2, 1), 16);
        EXPECT_EQ(buffers.written(), 0);
        writer.join();
    }
}

}  // namespace
