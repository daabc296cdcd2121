// Loading Pixar files: every storage code, packet type and channel set, tile placement, and what is
// refused.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <climits>
#include <thread>

#include "formats/pixar/pixar_files.h"

namespace {

using support::Bytes;
using support::Cutout;
using support::operator+;
using support::hex;
using support::pixar;
using support::pixar_file;
using support::PixarHeader;

// One row of four pixels in every way that a file can store it. The filler value never appears in
// it, so written() counts exactly the stored samples.
TEST(PixarReader, StoragePacketTypesChannelsAndBlocks) {
    const support::TempDir dir;
    constexpr auto sevens = "07070707 07070707 07070707 07070707";
    const struct {
        const char* what;
        int format;
        int storage;
        const char* tile;
        const char* pixels;
        int block_size = 8192;
    } cases[] = {
        {"dumped cutout", 15, 2, "01020304 11121314 21222324 31323334", "01020304 11121314 21222324 31323334"},
        {"dumped image: no matte", 14, 2, "010203 111213 212223 313233", "01020300 11121300 21222300 31323300"},
        {"dumped red and matte", 9, 2, "0104 1114 2124 3134", "01000004 11000014 21000024 31000034"},
        {"no channels at all", 0, 2, "FF", "00000000 00000000 00000000 00000000"},
        {"mask reads as grey", 1, 2, "01 11 21 31", "01010100 11111100 21212100 31313100"},
        {"blue alone reads as grey", 2, 2, "01 11 21 31", "01010100 11111100 21212100 31313100"},
        {"matte bit with a bit that means nothing", 17, 2, "01 11 21 31", "00000001 00000011 00000021 00000031"},
        {"dumped deep: 12 bits, low byte first", 1, 3, "0800 FF07 000C FFF7", "01010100 FFFFFF00 00000000 FFFFFF00"},
        {"dumped deep cutout: four channels", 15, 3,
         "0800100018002000 0801100118012001 8000F000F8000001 08000800FF0FFF07", "01020304 21222324 101E1F20 010100FF"},
        {"deep limits", 8, 3, "0008 FF0B 0700 FF0F", "FFFFFF00 FFFFFF00 00000000 00000000"},
        {"dump packet", 15, 0, "0310 01020304 11121314 21222324 31323334", "01020304 11121314 21222324 31323334"},
        {"run packet of two runs", 14, 0, "0120 02 070809 00 171819", "07080900 07080900 07080900 17181900"},
        {"matte dump packet", 15, 0, "0330 66 010203 111213 212223 313233", "01020366 11121366 21222366 31323366"},
        {"matte run packet", 15, 0, "0140 66 02 070809 00 171819", "07080966 07080966 07080966 17181966"},
        {"matte packet in an image", 14, 0, "0040 66 03 070809", "07080966 07080966 07080966 07080966"},
        {"matte dump in a mask: one value for all", 1, 0, "0330 66", "66666600 66666600 66666600 66666600"},
        {"matte run in a red file", 8, 0, "0140 66 02 07 00 17", "07070700 07070700 07070700 17171700"},
        {"deep run: 16-bit length, high byte first", 14, 1, "0020 0002 080010001800 0010 200028003000",
         "01020300 01020300 01020300 04050600"},
        {"deep matte dump", 15, 1, "0330 1000 080008000800 180018001800 200020002000 280028002800",
         "01010102 03030302 04040402 05050502"},
        {"a fill packet skips the rest of its block", 15, 0, "0010 07070707 0000 EEEE 0020 02 07070707", sevens, 10},
        {"a fill packet whose header fills the block", 15, 0, "0010 07070707 FF0F 0020 02 07070707 EE", sevens, 8},
        {"one byte left over is padding", 15, 0, "0010 07070707 EE 0020 02 07070707", sevens, 7},
        {"a packet that ends with its block", 15, 0, "0010 07070707 0020 02 07070707", sevens, 6},
        {"a packet across two blocks starts a new count", 15, 0, "0010 07070707 0020 02 07070707", sevens, 5},
        {"blocks of one byte", 15, 0, "0000 0010 07070707 0020 02 07070707", sevens, 1},
    };
    for (const auto& c : cases) {
        const PixarHeader header = {
            .height = 1, .tile_height = 1, .format = c.format, .storage = c.storage, .block_size = c.block_size};
        Cutout loaded(4, 1);
        EXPECT_EQ(loaded.load(dir.file("a.pic", pixar_file(header, {hex(c.tile)}))), 0) << c.what;
        EXPECT_EQ(loaded.values(), hex(c.pixels)) << c.what;
        EXPECT_EQ(loaded.written(), 16) << c.what;
    }
}

// A 5 × 3 picture in 2 × 2 tiles, one tile absent. Tiles are stored whole, so the grid is 6 × 4 and
// the picture's rows stand at its top.
Bytes tiled_pixel(int x, int from_top) {
    return support::be(0x01020304U * static_cast<unsigned int>(6 * from_top + x + 1), 4);
}
bool in_absent_tile(int x, int from_top) { return x < 2 && from_top >= 2; }
Bytes tiled_file() {
    std::vector<Bytes> tiles;
    for (const int y : {0, 2}) {
        for (const int x : {0, 2, 4}) {
            const Bytes upper = tiled_pixel(x, y) + tiled_pixel(x + 1, y);
            const Bytes lower = tiled_pixel(x, y + 1) + tiled_pixel(x + 1, y + 1);
            tiles.push_back(in_absent_tile(x, y) ? Bytes() : upper + lower);
        }
    }
    return pixar_file({.width = 5, .height = 3, .tile_width = 2, .tile_height = 2}, tiles);
}

TEST(PixarReader, RegionsOfATiledPictureLandWhereTheyShould) {
    const support::TempDir dir;
    const std::string name = dir.file("tiled.pic", tiled_file());
    for (int file_x = -7; file_x <= 1; ++file_x) {
        for (int file_y = -5; file_y <= 1; ++file_y) {
            Bytes expected;
            int stored = 0;
            for (const int y : {1, 0}) {
                for (const int x : {0, 1, 2}) {
                    const int column = std::abs(file_x) + x;
                    const int from_top = 3 - (std::abs(file_y) + y);
                    const bool visible = column <= 5 && from_top >= 0 && !in_absent_tile(column, from_top);
                    expected = expected + (visible ? tiled_pixel(column, from_top) : Bytes(4, 0xA5));
                    stored += visible ? 4 : 0;
                }
            }
            Cutout loaded(3, 2);
            ASSERT_EQ(loaded.load(name, file_x, file_y), 0);
            EXPECT_EQ(loaded.values(), expected) << file_x << " " << file_y;
            EXPECT_EQ(loaded.written(), stored) << file_x << " " << file_y;
        }
    }
}

TEST(PixarReader, BuffersThatAreNotWantedAndRectanglesThatMeetNothing) {
    const support::TempDir dir;
    const std::string name = dir.file("tiled.pic", tiled_file());
    Cutout cut(3, 2);
    EXPECT_EQ(pixar.load_pic_fn(name.c_str(), cut.colour.data(), cut.colour.pitch(), 0, 0, 1, 1, -2, 0), 0);
    EXPECT_EQ(cut.colour.written(), 12);
    EXPECT_EQ(pixar.load_cut_fn(name.c_str(), nullptr, 0, cut.matte.data(), cut.matte.pitch(), 0, 0, 1, 1, -2, 0), 0);
    EXPECT_EQ(cut.matte.written(), 4);

    // Nothing visible: not even an invalid storage code is noticed.
    const std::string bad = dir.file("bad.pic", pixar_file({.storage = 9}, {Bytes(32, 1)}));
    Cutout none(2, 2);
    for (const int offset : {100, INT_MAX, INT_MIN}) {
        EXPECT_EQ(none.load(bad, offset, 0), 0);
        EXPECT_EQ(none.load(bad, 0, offset), 0);
    }
    EXPECT_EQ(none.load(bad), 5);
    EXPECT_EQ(none.written(), 0);
}

TEST(PixarReader, Failures) {
    const support::TempDir dir;
    const Bytes tile = Bytes(32, 1);
    const auto packets = [](const char* packet_bytes, int block_size = 8192) {
        return pixar_file({.storage = 0, .block_size = block_size}, {hex(packet_bytes)});
    };
    const struct {
        const char* what;
        Bytes file;
        int code;
    } cases[] = {
        {"magic", pixar_file({.magic = 0xE880'0001'0000}, {tile}), 20},
        {"width 0", pixar_file({.width = 0}, {tile}), 5},
        {"height below 0", pixar_file({.height = -5}, {tile}), 5},
        {"tile width 0", pixar_file({.tile_width = 0}, {tile}), 5},
        {"tile height below 0", pixar_file({.tile_height = -1}, {tile}), 5},
        {"storage", pixar_file({.storage = 4}, {tile}), 5},
        {"packet type 5", packets("0050 01020304"), 5},
        {"a dump beyond the row", packets("0410 01010101 01010101 01010101 01010101 01010101"), 5},
        {"a run beyond the row", packets("0020 04 01020304"), 5},
        {"a second run beyond the row", packets("0120 02 01020304 01 05060708"), 5},
        {"block size 0", packets("0020 03 01020304", 0), 5},
        {"negative block size", packets("0020 03 01020304", -1), 5},
        {"a fill packet past the end", packets("0000"), 1},
        {"padding cut short", packets("0020 03 01020304", 8), 1},
    };
    for (const auto& c : cases) {
        Cutout loaded(4, 2);
        EXPECT_EQ(loaded.load(dir.file("a.pic", c.file)), c.code) << c.what;
        EXPECT_EQ(loaded.written(), 0) << c.what;
    }
    EXPECT_EQ(Cutout(4, 2).load(dir.path("missing.pic")), 6);
    EXPECT_EQ(pixar.load_pic_fn(nullptr, nullptr, 0, 0, 0, 1, 1, 0, 0), 6);
}

// Complete rows stay, the row that fails and everything after it is not touched. Rows below the
// rectangle are still part of the tile: when they are not there, the file is short.
TEST(PixarReader, TruncationAtEveryByte) {
    const support::TempDir dir;
    const Bytes packed =
        pixar_file({.height = 3, .tile_height = 3, .storage = 0},
                   {hex("0020 03 01020304 0310 01020304 11121314 21222324 31323334 0140 09 01 010203 01 050607")});
    const Bytes dumped = pixar_file({.height = 3, .tile_height = 3}, {Bytes(48, 1)});
    const struct {
        Bytes file;
        std::vector<std::size_t> row_ends;  // of the rows that are loaded, from the top
    } cases[] = {{packed, {7, 25, 36}}, {packed, {7}}, {dumped, {16, 32, 48}}, {dumped, {16}}};
    for (const auto& c : cases) {
        const int height = static_cast<int>(c.row_ends.size());
        for (std::size_t size = 0; size <= c.file.size(); ++size) {
            Bytes cut = c.file;
            cut.resize(size);
            Cutout loaded(4, height);
            const int code = loaded.load(dir.file("cut.pic", cut), 0, height - 3);
            ASSERT_EQ(code, size < c.file.size() ? 1 : 0) << size;
            int samples = 0;
            for (const std::size_t end : c.row_ends) { samples += size >= 776 + end ? 16 : 0; }
            EXPECT_EQ(loaded.written(), samples) << size;
        }
    }
}

TEST(PixarReader, APipeCannotSeekToItsTiles) {
    const support::TempDir dir;
    const std::string name = dir.path("pipe.pic");
    ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
    std::thread writer([&] { dir.file("pipe.pic", pixar_file({}, {Bytes(32, 1)})); });
    EXPECT_EQ(Cutout(4, 2).load(name, 100, 0), 16) << "also when the tile would not be needed";
    writer.join();
}

// One tile row and the file's buffer, whatever the picture's size and whatever a header claims.
TEST(PixarReader, MemoryIsThatOfARowAndMayRunOut) {
    const support::TempDir dir;
    constexpr std::size_t io_buffer = 64 * 1024;
    const std::string tall =
        dir.file("tall.pic", pixar_file({.width = 100, .height = 2000, .tile_width = 100, .tile_height = 2000},
                                        {Bytes(100UL * 2000 * 4, 1)}));
    const std::string claims =
        dir.file("claims.pic", pixar_file({.width = 32767, .height = 32767, .tile_width = 1, .tile_height = 1}, {}));
    Cutout loaded(32, 32);
    EXPECT_LE(support::memory_of([&] { EXPECT_EQ(loaded.load(tall), 0); }), io_buffer + 16 + (100 + 16) * 4);
    EXPECT_LE(support::memory_of([&] { EXPECT_EQ(loaded.load(claims), 1); }), io_buffer);
    EXPECT_EQ(support::codes_without_memory([&] { return loaded.load(tall); }),
              (std::vector{3, 3, 3, 0}));  // the file's buffer, the tile table, a row
}

// Fill packets that close blocks with data in them are legal as often as tiles share those.
TEST(PixarReader, TilesMayShareData) {
    const support::TempDir dir;
    const PixarHeader header = {
        .width = 64, .height = 20, .tile_width = 1, .tile_height = 20, .format = 1, .storage = 0, .block_size = 7};
    const Bytes file = header.bytes() + support::repeated(support::tile_pointer(760 + 16 * 64, 140), 64) +
                       support::repeated(hex("0010 07 0000 EEEE"), 20);
    Cutout loaded(64, 20);
    EXPECT_EQ(loaded.load(dir.file("a.pic", file)), 0);
    EXPECT_EQ(loaded.written(), 64 * 20 * 4);
}

// Thousands of tiles that all point at one stretch of fill packets must not cost their product.
TEST(PixarReader, SharedFillPacketsAreBounded) {
    const support::TempDir dir;
    const PixarHeader header = {
        .width = 8192, .height = 4, .tile_width = 1, .tile_height = 1, .storage = 0, .block_size = 2};
    const std::size_t tiles = 8192 * 4;
    const Bytes fill_packets(600'000, 0);
    const Bytes file = header.bytes() + support::repeated(support::tile_pointer(760 + 16 * tiles, 8), tiles) +
                       fill_packets + hex("0010 01020304");
    EXPECT_EQ(Cutout(8192, 4).load(dir.file("a.pic", file)), 5);
}

}  // namespace
