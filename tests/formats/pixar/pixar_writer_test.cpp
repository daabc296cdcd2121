// Saving Pixar files: exact bytes, packet splitting, block padding, failures, and the way back.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <climits>
#include <thread>

#include "formats/pixar/pixar_files.h"

namespace {

using support::Bytes;
using support::Cutout;
using support::operator+;
using support::hex;
using support::piece;
using support::pixar;
using support::repeated;

constexpr std::size_t data_offset = 8192;

/// Saves `height` rows, each the one given in the file's order (red, green, blue and, for a cutout,
/// matte), as packets and returns the file. Byte 0 of every colour pixel is different and must not
/// matter.
Bytes saved(const Bytes& row, std::size_t channels, int height) {
    const support::TempDir dir;
    const std::string name = dir.path("a.pic");
    Bytes colour;
    Bytes matte;
    for (std::size_t i = 0; i < row.size(); i += channels) {
        colour = colour + Bytes{static_cast<std::uint8_t>(i), row[i + 2], row[i + 1], row[i]};
        matte.push_back(row[i + channels - 1]);
    }
    const int x1 = static_cast<int>(matte.size()) - 1;
    // A pitch of 0: every row is the same one.
    const int code = channels == 4
                         ? pixar.save_cut_fn(name.c_str(), colour.data(), 0, matte.data(), 0, 0, 0, x1, height - 1, 1)
                         : pixar.save_pic_fn(name.c_str(), colour.data(), 0, 0, 0, x1, height - 1, 1);
    EXPECT_EQ(code, 0);
    return support::contents(name);
}

/// `count` three-channel or four-channel pixels, each unlike its neighbours.
Bytes distinct(std::size_t count, std::size_t channels) {
    Bytes bytes;
    for (std::size_t i = 0; i < count; ++i) { bytes = std::move(bytes) + support::be(i, 2) + Bytes(channels - 2, 9); }
    return bytes;
}

TEST(PixarWriter, HeaderTableAndPadding) {
    const support::TempDir dir;
    const std::string name = dir.path("a.pic");
    Bytes colour(640 * 480 * 4, 3);
    ASSERT_EQ(pixar.save_pic_fn(name.c_str(), colour.data(), 640, 0, 0, 639, 479, 1), 0);
    Bytes expected = support::zeros(2 * data_offset);
    support::put(expected, 0, hex("0000E880"));
    const std::string label = "Picture file written by the raster I/O library";
    support::put(expected, 10, Bytes(label.begin(), label.end()));
    support::put(expected, 584, hex("01E0 0280 01E0 0280 000E 0000 2000"));
    support::put(expected, 760, hex("00002000 00000000") + support::be(480 * 14, 4));
    // A row of 640 equal pixels is a packet of runs of 256, 256 and 128.
    support::put(expected, data_offset, repeated(hex("0220 FF 030303 FF 030303 7F 030303"), 480));
    EXPECT_EQ(support::contents(name), expected);

    // An image is saved dumped in rows of the rectangle's highest row first.
    Bytes rows = hex("00010203 00111213 00212223 00313233");
    ASSERT_EQ(pixar.save_pic_fn(name.c_str(), rows.data(), 2, 1, 0, 1, 1, 0), 0);
    const Bytes dumped = support::contents(name);
    EXPECT_EQ(piece(dumped, 592, 4), hex("000E 0002"));
    EXPECT_EQ(piece(dumped, 760, 16), hex("00002000 00000000 00000006 00000000"));
    EXPECT_EQ(piece(dumped, data_offset, 8), hex("333231 131211 0000"));
}

// Runs and dumps end early enough to fit a block, spans end at 4096 pixels, and a packet that does
// not fit keeps its count in the fill packet that closes the block.
TEST(PixarWriter, Packets) {
    const Bytes a = hex("0A0B0C");
    const Bytes b = hex("1A1B1C");
    const Bytes c = hex("2A2B2C");
    const Bytes a4 = a + hex("0D");
    const Bytes b4 = b + hex("1D");
    const Bytes image = distinct(5460, 3);
    const Bytes cutout = distinct(2500, 4);
    const Bytes row = distinct(100, 3);
    const Bytes runs = hex("01") + a + hex("01") + b;
    const Bytes runs4 = hex("01") + a4 + hex("01") + b4;
    const struct {
        const char* what;
        std::size_t channels;
        Bytes row;
        Bytes tile;
        int height = 1;
    } cases[] = {
        {"one pixel", 4, a4, hex("0010") + a4},
        {"alternating", 3, a + b + a + b, hex("0310") + a + b + a + b},
        {"dump before a run", 3, a + b + c + c + c, hex("0110") + a + b + hex("0020 02") + c},
        {"run before a dump", 3, a + a + b, hex("0020 01") + a + hex("0010") + b},
        {"two runs, one packet", 3, a + a + b + b, hex("0120") + runs},
        {"a long run", 3, repeated(a, 300), hex("0120 FF") + a + hex("2B") + a},
        {"a run and one pixel more", 3, repeated(a, 257), hex("0020 FF") + a + hex("0010") + a},
        {"mattes that differ", 4, hex("01020304 01020305"), hex("0110 01020304 01020305")},
        {"dumps: 2730 pixels of three channels fill a block, which needs no padding", 3, image,
         hex("A91A") + piece(image, 0, 2730 * 3) + hex("A91A") + piece(image, 2730 * 3, 2730 * 3)},
        {"dumps: 2047 pixels of four channels, and a fill packet of its header alone", 4, cutout,
         hex("FE17") + piece(cutout, 0, 2047 * 4) + hex("C401 C411") + piece(cutout, 2047 * 4, 453 * 4)},
        {"1638 four-channel runs fill a block", 4, repeated(a4 + a4 + b4 + b4, 900),
         hex("6526") + repeated(runs4, 819) + hex("A120") + repeated(runs4, 81)},
        {"2047 three-channel runs, then the span's last", 3, repeated(a + a + b + b, 1030),
         hex("FE27") + repeated(runs, 1023) + hex("01") + a + hex("0C00 0C20 01") + b + repeated(runs, 6)},
        {"a span ends at 4096 pixels", 3, repeated(a, 5000),
         hex("0F20") + repeated(hex("FF") + a, 16) + hex("0320") + repeated(hex("FF") + a, 3) + hex("87") + a},
        {"27 packets fit, 38 bytes of the block are left", 3, row,
         repeated(hex("6310") + row, 27) + hex("6300") + support::zeros(36) + repeated(hex("6310") + row, 3), 30},
    };
    for (const auto& test : cases) {
        const Bytes file = saved(test.row, test.channels, test.height);
        const std::size_t blocks = (test.tile.size() + 8191) / 8192;
        ASSERT_EQ(file.size(), data_offset + blocks * 8192) << test.what;
        EXPECT_EQ(piece(file, data_offset, test.tile.size()), test.tile) << test.what;
        EXPECT_EQ(piece(file, 768, 4), support::be(test.tile.size(), 4)) << test.what;
    }
}

TEST(PixarWriter, WhatIsSavedLoadsBack) {
    const support::TempDir dir;
    const std::string name = dir.path("a.pic");
    for (const auto& [width, height] : {std::pair{1, 1}, {3, 2}, {67, 9}, {300, 40}, {2200, 5}, {9000, 2}}) {
        for (const unsigned int colours : {1U, 2U, 256U}) {
            for (const int compress : {0, 1}) {
                Cutout saved(width, height);
                Cutout loaded(width, height);
                support::Noise noise(colours);
                for (std::uint8_t* sample : saved.samples()) {
                    *sample = static_cast<std::uint8_t>(noise.byte() % colours);
                }
                ASSERT_EQ(saved.save(name, compress), 0);
                ASSERT_EQ(loaded.load(name), 0);
                EXPECT_EQ(loaded, saved) << width << " " << colours << " " << compress;
            }
        }
    }
}

TEST(PixarWriter, MemoryIsThatOfARowAndMayRunOut) {
    const support::TempDir dir;
    const std::string name = dir.path("a.pic");
    Cutout cutout(100, 500);
    const auto save = [&] { return cutout.save(name, 1); };
    EXPECT_LE(support::memory_of(save), 256 * 1024 + 100 * 4);
    EXPECT_EQ(support::codes_without_memory(save), (std::vector{3, 3, 0}));  // the file's buffer, a row
}

TEST(PixarWriter, MissingBuffersAreSavedAsZero) {
    const support::TempDir dir;
    const std::string name = dir.path("a.pic");
    Bytes colour = hex("EE010203");
    Bytes matte = hex("04");
    ASSERT_EQ(pixar.save_cut_fn(name.c_str(), colour.data(), 1, nullptr, 0, 0, 0, 0, 0, 0), 0);
    EXPECT_EQ(piece(support::contents(name), data_offset, 4), hex("03020100"));
    ASSERT_EQ(pixar.save_cut_fn(name.c_str(), nullptr, 0, matte.data(), 1, 0, 0, 0, 0, 0), 0);
    EXPECT_EQ(piece(support::contents(name), data_offset, 4), hex("00000004"));
}

TEST(PixarWriter, Failures) {
    const support::TempDir dir;
    Bytes colour(40000 * 4, 1);
    const auto save = [&](const std::string& name, int x0, int y0, int x1, int y1) {
        return pixar.save_pic_fn(name.c_str(), colour.data(), 0, x0, y0, x1, y1, 1);
    };
    const std::string name = dir.path("a.pic");
    const std::array<int, 4> not_saved[] = {
        {1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 32767, 0}, {0, 0, 0, 32767}, {INT_MIN, 0, INT_MAX, 0}};
    for (const auto& [x0, y0, x1, y1] : not_saved) {
        EXPECT_EQ(save(name, x0, y0, x1, y1), 9);
        EXPECT_FALSE(support::exists(name));
    }
    EXPECT_EQ(save(dir.path("missing/a.pic"), 0, 0, 3, 3), 6);
    EXPECT_EQ(save("/dev/full", 0, 0, 3, 3), 2);
    EXPECT_EQ(save("/dev/full", 0, 0, 32766, 99), 2) << "found while rows are written";
    EXPECT_EQ(save(name, 0, 0, 32766, 0), 0) << "the widest picture";

    const std::string pipe = dir.path("pipe.pic");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::thread reader([&] { support::contents(pipe); });
    EXPECT_EQ(save(pipe, 0, 0, 3, 3), 16) << "a pipe has no way back to the table";
    reader.join();
}

}  // namespace
