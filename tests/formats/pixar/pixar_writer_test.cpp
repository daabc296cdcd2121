// Saving Pixar files: exact bytes, packet splitting, block padding, failures, and the way back.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <climits>
#include <filesystem>
#include <thread>

#include "formats/pixar/pixar_files.h"
#include "frame/cpu.h"

namespace {

using support::Bytes;
using support::operator+;
using support::hex;
using support::piece;
using support::pixar;

constexpr std::size_t data_offset = 8192;

/// Saves one row given in the file's order (red, green, blue and, for a cutout, matte) and returns
/// the file. Byte 0 of every colour pixel is different and must not matter.
Bytes saved_row(const Bytes& samples, std::size_t channels, int compress) {
    const support::TempDir dir;
    const std::size_t width = samples.size() / channels;
    Bytes colour, matte;
    for (std::size_t x = 0; x < width; ++x) {
        const std::uint8_t* s = &samples[x * channels];
        colour = colour + Bytes{static_cast<std::uint8_t>(x), s[2], s[1], s[0]};
        matte.push_back(channels == 4 ? s[3] : 0);
    }
    const int w = static_cast<int>(width);
    const std::string name = dir.path("row.pic");
    const int code = channels == 4
                         ? pixar.save_cut_fn(name.c_str(), colour.data(), w, matte.data(), w, 0, 0, w - 1, 0, compress)
                         : pixar.save_pic_fn(name.c_str(), colour.data(), w, 0, 0, w - 1, 0, compress);
    EXPECT_EQ(code, 0);
    return support::contents(name);
}

Bytes repeated(const Bytes& bytes, std::size_t count) {
    Bytes all;
    for (std::size_t i = 0; i < count; ++i) { all = all + bytes; }
    return all;
}

/// `count` three-channel or four-channel pixels, each unlike its neighbours.
Bytes distinct(std::size_t count, std::size_t channels) {
    Bytes bytes;
    for (std::size_t i = 0; i < count; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(i >> 8));
        bytes.push_back(static_cast<std::uint8_t>(i));
        bytes.resize(bytes.size() + channels - 2, 9);
    }
    return bytes;
}

TEST(PixarWriter, HeaderTableAndPadding) {
    const support::TempDir dir;
    const std::string name = dir.path("a.pic");
    Bytes colour(640 * 480 * 4, 3);
    ASSERT_EQ(pixar.save_pic_fn(name.c_str(), colour.data(), 640, 0, 0, 639, 479, 1), 0);
    const Bytes file = support::contents(name);

    Bytes expected = support::zeros(data_offset);
    support::put(expected, 0, hex("00 00 E8 80"));
    support::put(expected, 10, support::text("Picture file written by the raster I/O library"));
    support::put(expected, 584, hex("01 E0 02 80 01 E0 02 80 00 0E 00 00 20 00"));
    support::put(expected, 760, hex("00 00 20 00 00 00 00 00"));
    // A row of 640 equal pixels is a packet of runs of 256, 256 and 128: 2 + 3 × 4 bytes.
    support::put(expected, 768, support::be(480 * 14, 4));
    EXPECT_EQ(piece(file, 0, data_offset), expected);
    EXPECT_EQ(piece(file, data_offset, 14), hex("02 20 FF 03 03 03 FF 03 03 03 7F 03 03 03"));
    EXPECT_EQ(file.size(), 2 * data_offset);

    // An image is saved dumped in rows of the rectangle's highest row first.
    Bytes rows = hex("00 01 02 03 00 11 12 13 00 21 22 23 00 31 32 33");
    ASSERT_EQ(pixar.save_pic_fn(name.c_str(), rows.data(), 2, 1, 0, 1, 1, 0), 0);
    const Bytes dumped = support::contents(name);
    EXPECT_EQ(piece(dumped, 592, 4), hex("00 0E 00 02"));
    EXPECT_EQ(piece(dumped, 760, 16), hex("00 00 20 00 00 00 00 00 00 00 00 06 00 00 00 00"));
    EXPECT_EQ(piece(dumped, data_offset, 8), hex("33 32 31 13 12 11 00 00"));
}

TEST(PixarWriter, PacketsOfShortRows) {
    const Bytes a = hex("0A 0B 0C");
    const Bytes b = hex("1A 1B 1C");
    const Bytes c = hex("2A 2B 2C");
    const struct {
        const char* what;
        std::size_t channels;
        Bytes row, tile;
    } cases[] = {
        {"one pixel", 4, hex("01 02 03 04"), hex("00 10 01 02 03 04")},
        {"two pixels", 3, a + b, hex("01 10") + a + b},
        {"alternating", 3, a + b + a + b, hex("03 10") + a + b + a + b},
        {"dump before a run", 3, a + b + c + c + c, hex("01 10") + a + b + hex("00 20 02") + c},
        {"run before a dump", 3, a + a + b, hex("00 20 01") + a + hex("00 10") + b},
        {"two runs, one packet", 3, a + a + b + b, hex("01 20 01") + a + hex("01") + b},
        {"a long run", 3, repeated(a, 300), hex("01 20 FF") + a + hex("2B") + a},
        {"a run and one pixel more", 3, repeated(a, 257), hex("00 20 FF") + a + hex("00 10") + a},
        {"mattes that differ", 4, hex("01 02 03 04 01 02 03 05"), hex("01 10 01 02 03 04 01 02 03 05")},
    };
    for (const auto& test : cases) {
        const Bytes file = saved_row(test.row, test.channels, 1);
        EXPECT_EQ(piece(file, data_offset, test.tile.size()), test.tile) << test.what;
        EXPECT_EQ(piece(file, 768, 4), support::be(test.tile.size(), 4)) << test.what;
        EXPECT_EQ(file.size(), 2 * data_offset) << test.what;
    }
}

// Packets end early enough to fit a block, spans end at 4096 pixels, blocks end on packets: dumps of
// 2730 three-channel and 2047 four-channel pixels and a fill packet of its header alone, 1638
// four-channel runs, 2047 three-channel runs and then the span's last, and a long span.
TEST(PixarWriter, PacketsOfLongRows) {
    const Bytes runs4 = repeated(hex("1 1 1 1 1 1 1 1 2 2 2 2 2 2 2 2"), 900);
    const Bytes runs3 = repeated(hex("1 1 1 1 1 1 2 2 2 2 2 2"), 1030);
    const struct {
        std::size_t channels;
        Bytes row;
        std::vector<std::pair<std::size_t, const char*>> packets;  // where in the tile, and what
        std::size_t length;
    } cases[] = {
        {3, distinct(3000, 3), {{0, "A9 1A"}, {8192, "0D 11"}}, 8192 + 2 + 270 * 3},
        {4, distinct(2500, 4), {{0, "FE 17"}, {8190, "C4 01"}, {8192, "C4 11"}}, 8192 + 2 + 453 * 4},
        {4, runs4, {{0, "65 26"}, {8192, "A1 20"}}, 8192 + 2 + 162 * 5},
        {3, runs3, {{0, "FE 27"}, {8190, "0C 00"}, {8192, "0C 20"}}, 8192 + 2 + 13 * 4},
        {3, repeated(hex("7 7 7"), 5000), {{0, "0F 20"}, {66, "03 20"}}, 66 + 18},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(&test - cases);
        const Bytes file = saved_row(test.row, test.channels, 1);
        for (const auto& [offset, header] : test.packets) {
            EXPECT_EQ(piece(file, data_offset + offset, 2), hex(header)) << "at " << offset;
        }
        EXPECT_EQ(piece(file, 768, 4), support::be(test.length, 4));
    }
}

// A packet that does not fit keeps its count in the fill packet that closes the block.
TEST(PixarWriter, AFillPacketClosesABlock) {
    const support::TempDir dir;
    const std::string name = dir.path("a.pic");
    constexpr int width = 100;
    Bytes colour;
    const Bytes row = distinct(width, 4);
    for (int y = 0; y < 30; ++y) { colour = colour + row; }
    ASSERT_EQ(pixar.save_pic_fn(name.c_str(), colour.data(), width, 0, 0, width - 1, 29, 1), 0);
    const Bytes file = support::contents(name);
    // Every row is a dump packet of 302 bytes: 27 fit, 38 bytes of the block are left.
    EXPECT_EQ(piece(file, data_offset + 27 * 302, 4), hex("63 00 00 00"));
    EXPECT_EQ(piece(file, 2 * data_offset, 2), hex("63 10"));
    EXPECT_EQ(piece(file, 768, 4), support::be(8192 + 3 * 302, 4));
}

// At all widths around those of the vector kernels, with them and without.
TEST(PixarWriter, WhatIsSavedLoadsBack) {
    ASSERT_TRUE(trellis::use_avx2()) << "this machine cannot run the vector kernels";
    const support::TempDir dir;
    const std::string name = dir.path("a.pic");
    std::vector<std::pair<int, int>> sizes = {{300, 40}, {2200, 5}, {9000, 2}};
    for (int width = 1; width <= 67; ++width) { sizes.emplace_back(width, 3); }
    for (const auto& [width, height] : sizes) {
        for (unsigned int variant = 0; variant < 12; ++variant) {
            const bool with_matte = variant % 2 == 0;
            const int compress = variant / 2 % 2;
            const int colours = std::array{1, 2, 256}[variant / 4];
            support::Guarded<std::uint8_t> colour(width + 2, height + 1, 4);
            support::Guarded<std::uint8_t> matte(width + 2, height + 1, 1, 5);
            const auto empty = std::pair(colour, matte);
            support::Noise noise(variant + 1);
            for (int i = 0; i < width * height * 4; ++i) {
                const int x = 2 + i / 4 % width;
                const int y = 1 + i / 4 / width;
                const auto sample = static_cast<std::uint8_t>(noise.byte() % colours);
                if (i % 4 != 0 || with_matte) { (i % 4 == 0 ? matte.at(x, y) : colour.at(x, y, i % 4)) = sample; }
            }
            Bytes files[2];
            for (const bool vectors : {true, false}) {
                trellis::allow_vector_kernels(vectors);
                std::filesystem::remove(name);
                auto [colour_back, matte_back] = empty;
                const auto call = [&, w = width, h = height](auto cut_fn, auto pic_fn, auto& c, auto& m, auto... last) {
                    return with_matte
                               ? cut_fn(name.c_str(), c.data(), c.pitch(), m.data(), m.pitch(), 2, 1, 1 + w, h, last...)
                               : pic_fn(name.c_str(), c.data(), c.pitch(), 2, 1, 1 + w, h, last...);
                };
                ASSERT_EQ(call(pixar.save_cut_fn, pixar.save_pic_fn, colour, matte, compress), 0);
                files[vectors ? 1 : 0] = support::contents(name);
                ASSERT_EQ(call(pixar.load_cut_fn, pixar.load_pic_fn, colour_back, matte_back, 0, 0), 0);
                EXPECT_EQ(colour_back, colour) << width << " " << variant;
                EXPECT_EQ(matte_back, matte) << width << " " << variant;
            }
            trellis::allow_vector_kernels(true);
            EXPECT_EQ(files[0], files[1]) << width << " " << variant;
        }
    }
}

TEST(PixarWriter, MemoryIsThatOfARow) {
    const support::TempDir dir;
    Bytes colour(100UL * 500 * 4, 1);
    const auto save = [&, name = dir.path("a.pic")] {
        return pixar.save_pic_fn(name.c_str(), colour.data(), 100, 0, 0, 99, 499, 1);
    };
    EXPECT_LE(support::memory_of(save), 256 * 1024 + 100 * 4);
    EXPECT_EQ(support::codes_without_memory(save), (std::vector{3, 3, 0}));  // the file's buffer, a row
}

TEST(PixarWriter, MissingBuffersAreSavedAsZero) {
    const support::TempDir dir;
    const std::string name = dir.path("a.pic");
    Bytes colour = hex("EE 01 02 03");
    Bytes matte = hex("04");
    ASSERT_EQ(pixar.save_cut_fn(name.c_str(), colour.data(), 1, nullptr, 0, 0, 0, 0, 0, 0), 0);
    EXPECT_EQ(piece(support::contents(name), data_offset, 4), hex("03 02 01 00"));
    ASSERT_EQ(pixar.save_cut_fn(name.c_str(), nullptr, 0, matte.data(), 1, 0, 0, 0, 0, 0), 0);
    EXPECT_EQ(piece(support::contents(name), data_offset, 4), hex("00 00 00 04"));
}

TEST(PixarWriter, Failures) {
    const support::TempDir dir;
    Bytes colour(40000 * 4, 1);
    const auto save = [&](const std::string& name, int x0, int y0, int x1, int y1) {
        return pixar.save_pic_fn(name.c_str(), colour.data(), 0, x0, y0, x1, y1, 1);
    };
    const std::string name = dir.path("a.pic");
    const struct {
        int x0, y0, x1, y1;
    } rectangles[] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 32767, 0}, {0, 0, 0, 32767}, {INT_MIN, 0, INT_MAX, 0}};
    for (const auto& r : rectangles) {
        EXPECT_EQ(save(name, r.x0, r.y0, r.x1, r.y1), 9);
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
