// Loading Pixar files: every storage code, packet type and channel set, tile placement, and what is
// refused.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <climits>
#include <thread>

#include "formats/pixar/pixar_files.h"

namespace {

using support::Bytes;
using support::operator+;
using support::hex;
using support::pixar;
using support::pixar_file;
using support::PixarHeader;

/// A width × height cutout loaded into guarded buffers at (2, 1).
struct Loaded {
    static constexpr int x0 = 2;
    static constexpr int y0 = 1;

    Loaded(int w, int h) : width(w), height(h) {}

    int load(const std::string& name, int file_x = 0, int file_y = 0) {
        return pixar.load_cut_fn(name.c_str(), colour.data(), colour.pitch(), matte.data(), matte.pitch(), x0, y0,
                                 x0 + width - 1, y0 + height - 1, file_x, file_y);
    }

    /// Red, green, blue and matte of the loaded pixels, top row first: the order of the file.
    Bytes pixels() {
        Bytes bytes;
        for (int y = y0 + height - 1; y >= y0; --y) {
            for (int x = x0; x < x0 + width; ++x) {
                bytes = bytes + Bytes{colour.at(x, y, 3), colour.at(x, y, 2), colour.at(x, y, 1), matte.at(x, y)};
            }
        }
        return bytes;
    }

    int width, height;
    support::Guarded<std::uint8_t> colour{40, 40, 4};
    support::Guarded<std::uint8_t> matte{40, 40, 1};
};

// One row of four pixels in every way that a file can store it. The filler value never appears in
// it, so written() counts exactly the stored samples.
TEST(PixarReader, StorageCodesPacketTypesAndChannels) {
    const support::TempDir dir;
    const struct {
        const char* what;
        int format, storage;
        const char *tile, *pixels;
    } cases[] = {
        {"dumped cutout", 15, 2, "01 02 03 04 11 12 13 14 21 22 23 24 31 32 33 34",
         "01 02 03 04 11 12 13 14 21 22 23 24 31 32 33 34"},
        {"dumped image: no matte", 14, 2, "01 02 03 11 12 13 21 22 23 31 32 33",
         "01 02 03 00 11 12 13 00 21 22 23 00 31 32 33 00"},
        {"dumped red and matte", 9, 2, "01 04 11 14 21 24 31 34", "01 00 00 04 11 00 00 14 21 00 00 24 31 00 00 34"},
        {"no channels at all", 0, 2, "FF", "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"},
        {"mask reads as grey", 1, 2, "01 11 21 31", "01 01 01 00 11 11 11 00 21 21 21 00 31 31 31 00"},
        {"blue alone reads as grey", 2, 2, "01 11 21 31", "01 01 01 00 11 11 11 00 21 21 21 00 31 31 31 00"},
        {"matte bit with a bit that means nothing", 17, 2, "01 11 21 31",
         "00 00 00 01 00 00 00 11 00 00 00 21 00 00 00 31"},
        {"dumped deep: 12 bits, low byte first", 1, 3, "08 00 FF 07 00 0C FF F7",
         "01 01 01 00 FF FF FF 00 00 00 00 00 FF FF FF 00"},
        {"deep limits", 8, 3, "00 08 FF 0B 07 00 FF 0F", "FF FF FF 00 FF FF FF 00 00 00 00 00 00 00 00 00"},
        {"dump packet", 15, 0, "03 10 01 02 03 04 11 12 13 14 21 22 23 24 31 32 33 34",
         "01 02 03 04 11 12 13 14 21 22 23 24 31 32 33 34"},
        {"run packet of two runs", 14, 0, "01 20 02 07 08 09 00 17 18 19",
         "07 08 09 00 07 08 09 00 07 08 09 00 17 18 19 00"},
        {"matte dump packet", 15, 0, "03 30 66 01 02 03 11 12 13 21 22 23 31 32 33",
         "01 02 03 66 11 12 13 66 21 22 23 66 31 32 33 66"},
        {"matte run packet", 15, 0, "01 40 66 02 07 08 09 00 17 18 19",
         "07 08 09 66 07 08 09 66 07 08 09 66 17 18 19 66"},
        {"matte packet in an image", 14, 0, "00 40 66 03 07 08 09", "07 08 09 66 07 08 09 66 07 08 09 66 07 08 09 66"},
        {"matte dump in a mask: one value for all", 1, 0, "03 30 66",
         "66 66 66 00 66 66 66 00 66 66 66 00 66 66 66 00"},
        {"matte run in a red file", 8, 0, "01 40 66 02 07 00 17", "07 07 07 00 07 07 07 00 07 07 07 00 17 17 17 00"},
        {"deep run: 16-bit length, high byte first", 14, 1, "00 20 00 02 08 00 10 00 18 00 00 10 20 00 28 00 30 00",
         "01 02 03 00 01 02 03 00 01 02 03 00 04 05 06 00"},
        {"deep matte dump", 15, 1,
         "03 30 10 00 08 00 08 00 08 00 18 00 18 00 18 00 20 00 20 00 "
         "20 00 28 00 28 00 28 00",
         "01 01 01 02 03 03 03 02 04 04 04 02 05 05 05 02"},
    };
    for (const auto& c : cases) {
        const PixarHeader header = {.height = 1, .tile_height = 1, .format = c.format, .storage = c.storage};
        Loaded loaded(4, 1);
        EXPECT_EQ(loaded.load(dir.file("a.pic", pixar_file(header, {hex(c.tile)}))), 0) << c.what;
        EXPECT_EQ(loaded.pixels(), hex(c.pixels)) << c.what;
        EXPECT_EQ(loaded.colour.written(), 12) << c.what;
        EXPECT_EQ(loaded.matte.written(), 4) << c.what;
    }
}

TEST(PixarReader, BlocksAndFillPackets) {
    const support::TempDir dir;
    const struct {
        const char* what;
        int block_size;
        const char* tile;
    } cases[] = {
        {"a fill packet skips the rest of its block", 10, "00 10 07 07 07 07 00 00 EE EE 00 20 02 07 07 07 07"},
        {"a fill packet whose header fills the block", 8, "00 10 07 07 07 07 FF 0F 00 20 02 07 07 07 07 EE"},
        {"one byte left over is padding", 7, "00 10 07 07 07 07 EE 00 20 02 07 07 07 07"},
        {"a packet that ends with its block", 6, "00 10 07 07 07 07 00 20 02 07 07 07 07"},
        {"a packet across a block boundary starts a new count", 5, "00 10 07 07 07 07 00 20 02 07 07 07 07"},
        {"blocks of one byte", 1, "00 00 00 10 07 07 07 07 00 20 02 07 07 07 07"},
    };
    for (const auto& c : cases) {
        const PixarHeader header = {.height = 1, .tile_height = 1, .storage = 0, .block_size = c.block_size};
        Loaded loaded(4, 1);
        EXPECT_EQ(loaded.load(dir.file("a.pic", pixar_file(header, {hex(c.tile)}))), 0) << c.what;
        EXPECT_EQ(loaded.pixels(), Bytes(16, 7)) << c.what;
    }
}

// A 5 × 3 picture in 2 × 2 tiles, one tile absent. Tiles are stored whole, so the grid is 6 × 4 and
// the picture's rows stand at its top.
struct Tiled {
    static Bytes file() {
        std::vector<Bytes> tiles;
        for (int row = 0; row < 2; ++row) {
            for (int column = 0; column < 3; ++column) {
                Bytes tile;
                for (int y = 0; y < 2; ++y) {
                    for (int x = 0; x < 2; ++x) { tile = tile + pixel(2 * column + x, 2 * row + y); }
                }
                tiles.push_back(row == 1 && column == 0 ? Bytes{} : tile);
            }
        }
        return pixar_file({.width = 5, .height = 3, .tile_width = 2, .tile_height = 2}, tiles);
    }
    static Bytes pixel(int x, int from_top) {
        const int value = 16 * from_top + x;
        return {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value + 1),
                static_cast<std::uint8_t>(value + 2), static_cast<std::uint8_t>(value + 3)};
    }
    static bool absent(int x, int from_top) { return x < 2 && from_top >= 2; }
};

TEST(PixarReader, RegionsOfATiledPictureLandWhereTheyShould) {
    const support::TempDir dir;
    const std::string name = dir.file("tiled.pic", Tiled::file());
    for (int file_x = -7; file_x <= 1; ++file_x) {
        for (int file_y = -5; file_y <= 1; ++file_y) {
            Loaded loaded(3, 2);
            ASSERT_EQ(loaded.load(name, file_x, file_y), 0);
            int stored = 0;
            for (int y = 0; y < 2; ++y) {
                for (int x = 0; x < 3; ++x) {
                    const int column = std::abs(file_x) + x;
                    const int from_top = 3 - (std::abs(file_y) + y);
                    if (column > 5 || from_top < 0 || Tiled::absent(column, from_top)) { continue; }
                    ++stored;
                    EXPECT_EQ(loaded.colour.at(2 + x, 1 + y, 3), Tiled::pixel(column, from_top)[0]);
                    EXPECT_EQ(loaded.matte.at(2 + x, 1 + y), Tiled::pixel(column, from_top)[3]);
                }
            }
            EXPECT_EQ(loaded.colour.written(), 3 * stored) << file_x << " " << file_y;
            EXPECT_EQ(loaded.matte.written(), stored) << file_x << " " << file_y;
        }
    }
}

TEST(PixarReader, BuffersThatAreNotWantedAndRectanglesThatMeetNothing) {
    const support::TempDir dir;
    const std::string name = dir.file("tiled.pic", Tiled::file());
    Loaded loaded(3, 2);
    EXPECT_EQ(pixar.load_pic_fn(name.c_str(), loaded.colour.data(), loaded.colour.pitch(), 0, 0, 1, 1, -2, 0), 0);
    EXPECT_EQ(loaded.colour.written(), 12);
    EXPECT_EQ(pixar.load_cut_fn(name.c_str(), nullptr, 0, loaded.matte.data(), loaded.matte.pitch(), 0, 0, 1, 1, -2, 0),
              0);
    EXPECT_EQ(loaded.matte.written(), 4);

    // Nothing visible: not even an invalid storage code is noticed.
    const std::string bad = dir.file("bad.pic", pixar_file({.storage = 9}, {Bytes(32, 1)}));
    Loaded none(2, 2);
    for (const int offset : {100, INT_MAX, INT_MIN}) {
        EXPECT_EQ(none.load(bad, offset, 0), 0);
        EXPECT_EQ(none.load(bad, 0, offset), 0);
    }
    EXPECT_EQ(none.colour.written(), 0);
    EXPECT_EQ(none.load(bad), 5);
    EXPECT_EQ(none.colour.written() + none.matte.written(), 0);
}

TEST(PixarReader, Failures) {
    const support::TempDir dir;
    const Bytes row = Bytes(32, 1);
    const auto packets = [](const char* tile, int block_size = 8192) {
        return pixar_file({.height = 1, .tile_height = 1, .storage = 0, .block_size = block_size}, {hex(tile)});
    };
    Bytes magic = pixar_file({}, {row});
    magic[5] = 1;
    const struct {
        const char* what;
        Bytes file;
        int code;
    } cases[] = {
        {"empty", {}, 1},
        {"magic", magic, 20},
        {"no table", PixarHeader{}.bytes(), 1},
        {"a table larger than the file",
         pixar_file({.width = 32767, .height = 32767, .tile_width = 1, .tile_height = 1}, {row}), 1},
        {"width 0", pixar_file({.width = 0}, {row}), 5},
        {"height below 0", pixar_file({.height = -5}, {row}), 5},
        {"tile width 0", pixar_file({.tile_width = 0}, {row}), 5},
        {"tile height below 0", pixar_file({.tile_height = -1}, {row}), 5},
        {"storage", pixar_file({.storage = 4}, {row}), 5},
        {"packet type 5", packets("00 50 01 02 03 04"), 5},
        {"a dump beyond the row",
         packets("04 10 01 01 01 01 01 01 01 01 01 01 01 01 01 01 01 01 01 "
                 "01 01 01"),
         5},
        {"a run beyond the row", packets("00 20 04 01 02 03 04"), 5},
        {"a second run beyond the row", packets("01 20 02 01 02 03 04 01 05 06 07 08"), 5},
        {"block size 0", packets("00 20 03 01 02 03 04", 0), 5},
        {"negative block size", packets("00 20 03 01 02 03 04", -1), 5},
        {"a fill packet past the end", packets("00 00"), 1},
        {"a packet header cut short", packets("00"), 1},
        {"a run cut short", packets("00 20 03 01 02 03"), 1},
        {"a dump cut short", packets("03 10 01 02 03 04 11"), 1},
        {"padding cut short", packets("00 20 03 01 02 03 04", 8), 1},
    };
    for (const auto& c : cases) {
        Loaded loaded(4, 2);
        EXPECT_EQ(loaded.load(dir.file("a.pic", c.file)), c.code) << c.what;
        EXPECT_EQ(loaded.colour.written() + loaded.matte.written(), 0) << c.what;
    }
    Loaded loaded(4, 2);
    EXPECT_EQ(loaded.load(dir.path("missing.pic")), 6);
    EXPECT_EQ(pixar.load_pic_fn(nullptr, nullptr, 0, 0, 0, 1, 1, 0, 0), 6);
}

// Complete rows stay, the row that fails and everything after it is not touched.
TEST(PixarReader, TruncationAtEveryByte) {
    const support::TempDir dir;
    const PixarHeader header = {.height = 3, .tile_height = 3, .storage = 0};
    const Bytes packed =
        pixar_file(header, {hex("00 20 03 01 02 03 04 03 10 01 02 03 04 11 12 13 14 21 22 23 24 31 32 33 34 "
                                "01 20 01 01 02 03 04 01 05 06 07 08")});
    const Bytes dumped = pixar_file({.height = 3, .tile_height = 3}, {Bytes(48, 1)});
    const std::vector<std::pair<Bytes, std::vector<std::size_t>>> files = {{packed, {7, 25, 37}},
                                                                           {dumped, {16, 32, 48}}};
    for (const auto& [file, row_ends] : files) {
        for (std::size_t size = 0; size < file.size(); ++size) {
            Loaded loaded(4, 3);
            const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size));
            ASSERT_EQ(loaded.load(dir.file("cut.pic", cut)), 1) << size;
            int rows = 0;
            for (const std::size_t end : row_ends) { rows += size >= 776 + end ? 1 : 0; }
            EXPECT_EQ(loaded.matte.written(), 4 * rows) << size;
            EXPECT_EQ(loaded.colour.written(), 12 * rows) << size;
        }
    }
}

// A row below the rectangle is still part of the tile: when it is not there, the file is short.
TEST(PixarReader, RowsOutsideTheRectangleMustBeThere) {
    const support::TempDir dir;
    Bytes file = pixar_file({.height = 3, .tile_height = 3}, {Bytes(48, 1)});
    Loaded top(4, 1);
    EXPECT_EQ(top.load(dir.file("a.pic", file), 0, -2), 0);
    file.pop_back();
    Loaded again(4, 1);
    EXPECT_EQ(again.load(dir.file("a.pic", file), 0, -2), 1);
    EXPECT_EQ(again.matte.written(), 4);
}

TEST(PixarReader, APipeCannotSeekToItsTiles) {
    const support::TempDir dir;
    const std::string name = dir.path("pipe.pic");
    ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
    const Bytes file = pixar_file({}, {Bytes(32, 1)});
    std::thread writer([&] { dir.file("pipe.pic", file); });
    Loaded loaded(4, 2);
    EXPECT_EQ(loaded.load(name, 100, 0), 16) << "also when the tile would not be needed";
    writer.join();
}

// One tile row and the file's buffer, whatever the picture's size and whatever a header claims.
TEST(PixarReader, MemoryIsThatOfARow) {
    const support::TempDir dir;
    constexpr std::size_t io_buffer = 64 * 1024;
    const std::string tall =
        dir.file("tall.pic", pixar_file({.width = 100, .height = 2000, .tile_width = 100, .tile_height = 2000},
                                        {Bytes(100UL * 2000 * 4, 1)}));
    const std::string claims =
        dir.file("claims.pic", pixar_file({.width = 32767, .height = 32767, .tile_width = 1, .tile_height = 1}, {}));
    Loaded loaded(32, 32);
    EXPECT_LE(support::memory_of([&] { EXPECT_EQ(loaded.load(tall), 0); }), io_buffer + 16 + 100 * 4);
    EXPECT_LE(support::memory_of([&] { EXPECT_EQ(loaded.load(claims), 1); }), io_buffer);
    // The file's buffer, the tile table, a row.
    EXPECT_EQ(support::codes_without_memory([&] { return loaded.load(tall); }), (std::vector{3, 3, 3, 0}));
}

// Thousands of tiles that all point at one stretch of fill packets must not cost their product.
TEST(PixarReader, SharedFillPacketsAreBounded) {
    const support::TempDir dir;
    const PixarHeader header = {
        .width = 8192, .height = 4, .tile_width = 1, .tile_height = 1, .storage = 0, .block_size = 2};
    const std::uint64_t tiles = 8192 * 4;
    Bytes file = header.bytes();
    file.reserve(2'000'000);
    for (std::uint64_t i = 0; i < tiles; ++i) {
        const Bytes pointer = support::tile_pointer(760 + 16 * tiles, 8);
        file.insert(file.end(), pointer.begin(), pointer.end());
    }
    file.resize(file.size() + 600'000);  // 300,000 fill packets, then one pixel
    const Bytes pixel = hex("00 10 01 02 03 04");
    file.insert(file.end(), pixel.begin(), pixel.end());
    std::vector<std::uint8_t> colour(8192 * 4 * 4);
    EXPECT_EQ(pixar.load_pic_fn(dir.file("a.pic", file).c_str(), colour.data(), 8192, 0, 0, 8191, 3, 0, 0), 5);
}

}  // namespace
