// Saving Maya IFF files: every byte of the layout, raw or in packets, round trips, and what is refused.

#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <ctime>

#include "formats/iff/iff_files.h"

namespace {

using namespace support;

/// A whole file of one tile, saved at a certain time.
Bytes saved_file(int w, int h, std::uint64_t flags, int compress, const Bytes& pixels, std::time_t time) {
    utsname system{};
    uname(&system);
    const std::string banner =
        std::string("Trellis version 8.03R, ") + system.sysname + " " + system.release + " " + system.machine;
    const Bytes header = be(static_cast<std::uint64_t>(w), 4) + be(static_cast<std::uint64_t>(h), 4) + be(0, 4) +
                         be(flags, 4) + be(0, 2) + be(1, 2) + be(static_cast<std::uint32_t>(compress), 4) + be(0, 8);
    return form("CIMG", chunk("FVER", be(1, 2) + be(1, 2)) + chunk("TBHD", header) + chunk("AUTH", text(banner)) +
                            chunk("DATE", text(std::string(std::ctime(&time), 24))) +
                            form("TBMP", tile_chunk(0, 0, w - 1, h - 1, pixels)));
}

TEST(IffWriter, EveryByteOfTheFile) {
    const TempDir dir;
    // Spare bytes, which are never saved, are 99; pitches are 5 and 4.
    const Bytes colour =
        hex("63 01 11 21 63 02 12 22 63 03 13 23 63 63 63 63 63 63 63 63 "
            "63 04 14 24 63 05 15 25 63 06 16 26 63 63 63 63 63 63 63 63");
    const Bytes matte = hex("31 32 33 63 34 35 36 63");
    const Bytes flat(2 * 300 * 4, 7);
    const Bytes runs = hex("FF 07 FF 07 AB 07");
    struct {
        const char* what;
        Bytes colour;
        int pitch;
        Bytes matte;
        int alpha_pitch, width, height, compress;
        Bytes pixels;
    } cases[] = {
        {"raw colour", colour, 5, {}, 0, 3, 2, 0, hex("01 11 21 02 12 22 03 13 23 04 14 24 05 15 25 06 16 26")},
        {"raw colour and matte", colour, 5, matte, 4, 3, 2, 0,
         hex("31 01 11 21 32 02 12 22 33 03 13 23 34 04 14 24 35 05 15 25 36 06 16 26")},
        {"raw matte", {}, 0, matte, 4, 3, 2, 0, hex("31 32 33 34 35 36")},
        {"too short for packets", colour, 5, {}, 0, 1, 1, 1, hex("01 11 21")},
        {"packets as long as the plane", {}, 0, hex("01 01 01 02"), 4, 4, 1, 1, hex("01 01 01 02")},
        {"one plane becomes no smaller: all stay raw", flat, 3, matte, 3, 3, 1, 1,
         hex("31 07 07 07 32 07 07 07 33 07 07 07")},
        {"long runs, plane after plane", flat, 300, {}, 0, 300, 1, -5, runs + runs + runs},
        {"alpha plane first, rows joined", flat, 4, flat, 4, 4, 2, 1, hex("87 07 87 07 87 07 87 07")},
        {"nothing to save", {}, 0, {}, 0, 3, 2, 1, {}},
    };
    const std::string name = dir.path("a.iff");
    for (auto& c : cases) {
        const std::time_t before = std::time(nullptr);
        // The rectangle's place does not matter, its size does.
        EXPECT_EQ(maya.save_cut_fn(name.c_str(), c.colour.data(), c.pitch, c.matte.data(), c.alpha_pitch, 10, 20,
                                   9 + c.width, 19 + c.height, c.compress),
                  0);
        const std::uint64_t flags = (c.colour.empty() ? 0 : 1) + (c.matte.empty() ? 0 : 2);
        const auto expected = [&](std::time_t time) {
            return saved_file(c.width, c.height, flags, c.compress, c.pixels, time);
        };
        const Bytes file = contents(name);
        if (file != expected(std::time(nullptr))) { EXPECT_EQ(file, expected(before)) << c.what; }
    }
}

// Wider than a piece of a row and larger than the file's buffer. Runs and noise take turns, so that
// every plane becomes smaller.
struct Large {
    static constexpr int width = 2100;
    static constexpr int height = 40;
    Bytes colour = Bytes(width * height * 4);
    Bytes matte = Bytes(width * height);

    Large() {
        Noise noise(1);
        for (std::size_t i = 0; i < colour.size(); ++i) {
            const auto run = static_cast<std::uint8_t>(i / 4000);
            colour[i] = i / 2000 % 2 == 0 ? run : noise.byte();
            matte[i / 4] = i / 2000 % 2 == 0 ? run : noise.byte();
        }
    }

    template <class Sample>
    void expect_in(const std::string& name, std::uint64_t flags, int left, int bottom, int w, int h) {
        Loaded<Sample> loaded(w, h);
        ASSERT_EQ(loaded.load(name, -left, -bottom), 0);
        loaded.expect(flags, [&](int x, int y, int channel) {
            const auto from = static_cast<std::size_t>((bottom + y) * width + left + x);
            return channel == 0 ? matte[from] : colour[4 * from + static_cast<std::size_t>(channel)];
        });
    }
};

TEST(IffWriter, RoundTripsWholeAndInRegions) {
    const TempDir dir;
    const std::string name = dir.path("a.iff");
    Large large;
    for (int i = 0; i < 4; ++i) {
        const std::uint64_t flags = i % 2 == 1 ? 3 : 1;
        const int compress = i / 2 % 2;
        ASSERT_EQ(
            maya.save_cut_fn(name.c_str(), large.colour.data(), Large::width, flags == 3 ? large.matte.data() : nullptr,
                             Large::width, 0, 0, Large::width - 1, Large::height - 1, compress),
            0);
        ASSERT_EQ(contents(name).size() < (flags == 3 ? 4 : 3) * large.matte.size(), compress == 1);
        large.expect_in<std::uint8_t>(name, flags, 0, 0, Large::width, Large::height);
        large.expect_in<std::uint16_t>(name, flags, 1, 1, Large::width - 2, 2);
        large.expect_in<std::uint8_t>(name, flags, 1999, 17, 40, 23);
    }
}

TEST(IffWriter, Failures) {
    const TempDir dir;
    std::vector<std::uint8_t> row(65537 * 4, 5);
    const auto save = [&](const std::string& name, int x1, int y1, int compress = 0) {
        return maya.save_mask_fn(name.c_str(), row.data(), 0, 0, 0, x1, y1, compress);
    };
    EXPECT_EQ(save(dir.path("no/such.iff"), 3, 3), 6);
    EXPECT_EQ(save("/dev/full", 3, 3), 2);
    EXPECT_EQ(save("/dev/full", 999, 999), 2);
    EXPECT_EQ(save("/dev/null", 3, 3), 0) << "nothing is gone back to";
    const std::string name = dir.path("a.iff");
    for (const auto& [x1, y1] : {std::pair{-1, 3}, {3, -1}, {65536, 0}, {0, 65536}}) {
        EXPECT_EQ(save(name, x1, y1), 9);
    }
    EXPECT_EQ(maya.save_pic_fn(name.c_str(), row.data(), 0, 0, 0, 65535, 65535, 0), 9)
        << "a form cannot store such a size";
    EXPECT_FALSE(exists(name));
    EXPECT_EQ(codes_without_memory([&] { return save(name, 65535, 9, 1); }),
              (std::vector{3, 3, 3, 0}));  // the file's buffer, a plane, its packets
    ASSERT_EQ(save(name, 65535, 0, 1), 0);
    Loaded<std::uint8_t> widest(65536, 1);
    EXPECT_EQ(widest.load(name), 0);
    EXPECT_EQ(widest.matte.written(), 65536);
}

}  // namespace
