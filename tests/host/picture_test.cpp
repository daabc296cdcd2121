// The host library's pictures: what loads, what is refused, and what a save keeps.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "trellis/host.hpp"
#include "trellis/settings.h"

#include "support/support.h"

namespace {

using namespace support;
namespace host = trellis::host;

/// A cutout in which every sample is another.
host::Picture sample_picture(int width, int height, int depth = 8) {
    host::Picture picture(TRELLIS_KIND_CUTOUT, width, height, depth);
    for (std::size_t i = 0; i < picture.pixels() * (depth == 8 ? 4 : 6); ++i) {
        picture.colour()[i] = static_cast<std::uint8_t>(i % 2 == 0 || depth == 8 ? i * 29 + 1 : i % 61);
    }
    for (std::size_t i = 0; i < picture.pixels(); ++i) { picture.matte()[i] = std::uint8_t(7 * i + 3); }
    return picture;
}

bool same_colours(const host::Picture& a, const host::Picture& b) {
    bool same = a.pixels() == b.pixels() && a.depth() == b.depth();
    const std::size_t size = a.has_words() ? 6 : 4;
    for (std::size_t i = 0; same && i < a.pixels() * size; ++i) {
        same = (size == 4 && i % 4 == 0) || a.colour()[i] == b.colour()[i];
    }
    return same;
}

std::string error_of(const std::string& path, const host::LoadOptions& options = {}) {
    try {
        host::load(path, options);
        return "";
    } catch (const host::Error& error) { return std::to_string(error.code()) + " " + error.reason(); }
}

class Host : public testing::Test {
  protected:
    /// The sample picture saved in a format, with some bytes changed.
    std::string saved(const std::string& name, std::initializer_list<std::pair<std::size_t, const char*>> changes = {},
                      std::size_t cut = SIZE_MAX) {
        host::save(sample_picture(8, 4), dir.path(name), {.compress = false, .force = true});
        Bytes bytes = piece(contents(dir.path(name)), 0, cut);
        for (const auto& [offset, change] : changes) { put(bytes, offset, hex(change)); }
        return dir.file(name, bytes);
    }

    TempDir dir;
};

TEST_F(Host, ShowsThePictureInTheFileOrThrows) {
    struct Case {
        const char* name;
        std::initializer_list<std::pair<std::size_t, const char*>> changes;
        std::size_t cut;
        const char* error;
        const char* warning;  // of a lenient load; null when it throws too
    };
    constexpr std::size_t whole = SIZE_MAX;
    constexpr auto black = " missing, black in its place";
    for (const Case& c : {
             Case{"a.dpx", {{770, "0002"}}, whole, "39 more than one image element", nullptr},
             {"a.dpx", {{780, "00000001"}}, whole, "5 signed samples", nullptr},
             {"a.dpx", {{803, "20"}}, whole, "5 real samples (32 or 64 bits)", nullptr},
             {"a.dpx", {{800, "64"}}, whole, "5 unsupported channels (descriptor)", nullptr},
             {"a.dpx", {}, 2048 + 90, "1 38 of 128 bytes of the picture are missing", "38 of 128 bytes of the picture"},
             {"a.dpx",
              {{772, "000F4240 000F4240"}},
              whole,
              "1 3999999999872 of 4000000000000 bytes of the picture are missing",
              nullptr},
             {"a.cin", {}, 26624 + 127, "1 1 of 128 bytes of the picture are missing", "1 of 128 bytes of the picture"},
             {"a.iff", {{48, "0001"}}, whole, "5 16-bit samples", nullptr},
             {"a.iff", {{44, "00000004"}}, whole, "5 neither colours nor a matte", nullptr},
             {"a.iff", {{32, "00000009"}}, whole, "1 4 of 36 pixels are missing", "4 of 36 pixels"},
             {"a.iff", {{50, "0000"}}, whole, "1 32 of 32 pixels are missing", "32 of 32 pixels"},
             {"a.iff",
              {{32, "7FFFFFFF 7FFFFFFF"}},
              whole,
              "1 4611686014132420577 of 4611686014132420609 pixels are missing",
              nullptr},
             {"a.pic", {{584, "0000"}}, whole, "5 the header gives no picture size", nullptr},
             {"a.pic", {{760, "00000000"}}, whole, "1 1 of 1 tiles are missing", "1 of 1 tiles"},
             {"a.pic",
              {{584, "7FFF 7FFF 7FFF 7FFF"}},
              whole,
              "1 the header claims more pixels than the file holds",
              nullptr},
             {"a.pic", {{588, "0001 0001"}}, 900, "1 the table of tiles is cut short", nullptr},
             {"a.png", {{16, "00FFFFFF 00FFFFFF"}}, whole, "1 ", nullptr},
         }) {
        SCOPED_TRACE(std::string(c.name) + " " + c.error);
        const std::string path = saved(c.name, c.changes, c.cut);
        EXPECT_EQ(error_of(path), c.error);
        if (c.warning == nullptr) {
            EXPECT_NE(error_of(path, {.lenient = true}), "");
            continue;
        }
        const host::Picture picture = host::load(path, {.lenient = true});
        EXPECT_EQ(picture.warnings(), std::vector<std::string>{std::string(c.warning) + black});
        EXPECT_EQ(host::describe(path).missing, c.warning);
    }
    for (const char* name : {"a.dpx", "a.cin", "a.iff", "a.pic", "a.png"}) {
        EXPECT_EQ(error_of(saved(name)), "") << name;
        EXPECT_TRUE(
            same_colours(host::load(dir.path(name), {.kind = TRELLIS_KIND_CUTOUT, .depth = 8}), sample_picture(8, 4)))
            << name;
    }
}

TEST_F(Host, ScalesFilmByTheFilesOwnDepth) {
    saved("a.dpx");
    Bytes file = piece(contents(dir.path("a.dpx")), 0, 2048);
    put(file, 803, hex("08"));
    put(file, 772, hex("00000002 00000001"));
    put(file, 16, hex("00000808"));
    const std::string path = dir.file("a.dpx", file + hex("FF8000 010203 0000"));
    EXPECT_EQ(host::describe(path).depth, 8);
    const host::Picture picture = host::load(path);
    const auto* words = reinterpret_cast<const std::uint16_t*>(picture.colour());
    EXPECT_EQ(std::vector<int>(words, words + 3), (std::vector<int>{0, 8224, 16383}));
    const host::Picture bytes = host::load(path, {.depth = 8});
    EXPECT_EQ(Bytes(bytes.colour() + 1, bytes.colour() + 4), hex("00 80 FF"));
}

TEST_F(Host, KeepsFilmHeadersAndCodes) {
    const std::string big =
        saved("big.dpx", {{260, "50726F"}, {801, "06"}, {1556, "5363616E"}, {1724, "41C00000"}, {1920, "01020304"}});
    // The same in the other byte order, as far as it matters; what it lacks is undefined.
    Bytes file(2048, 0xFF);
    const Bytes same = contents(big);
    put(file, 0, hex("58504453 00080000"));
    for (const auto& [offset, size] : {std::pair{260, 200}, {800, 4}, {1556, 32}}) {
        put(file, std::size_t(offset), piece(same, std::size_t(offset), std::size_t(size)));
    }
    put(file, 768, hex("0000 0100 08000000 04000000 00000000"));
    put(file, 804, hex("0100 0000 00080000 00000000 00000000"));
    put(file, 1724, hex("0000C041"));
    put(file, 1920, hex("04030201"));
    for (std::size_t i = 2048; i < same.size(); i += 4) {
        file.insert(file.end(), {same[i + 3], same[i + 2], same[i + 1], same[i]});
    }
    for (const std::string& path : {big, dir.file("little.dpx", file)}) {
        for (const bool codes : {true, false}) {
            SCOPED_TRACE(path);
            const host::Description info = host::describe(path);
            EXPECT_EQ(info.byte_order, path == big ? "big-endian" : "little-endian");
            EXPECT_EQ(info.time_code, "01:02:03:04");
            EXPECT_EQ(info.frame_rate, 24.0F);
            EXPECT_EQ(info.transfer, "ITU-R 709");
            const host::Picture picture = host::load(path, {.codes = codes});
            EXPECT_EQ(picture.depth(), codes ? 10 : 16);
            host::save(picture, dir.path("out.dpx"), {.force = true});
            const Bytes out = contents(dir.path("out.dpx"));
            EXPECT_EQ(piece(out, 2048), piece(same, 2048));
            for (const auto& [offset, size] :
                 {std::pair{260, 200}, {768, 16}, {800, 20}, {1556, 32}, {1724, 4}, {1920, 4}}) {
                EXPECT_EQ(piece(out, std::size_t(offset), std::size_t(size)),
                          piece(same, std::size_t(offset), std::size_t(size)))
                    << offset;
            }
        }
    }
    const std::string cineon = saved("a.cin", {{844, "5363616E"}, {1072, "41C00000"}, {1108, "536C617465"}});
    host::save(host::load(cineon, {.codes = true}), dir.path("out.cin"));
    EXPECT_EQ(piece(contents(dir.path("out.cin")), 844, 1204), piece(contents(cineon), 844, 1204));
    EXPECT_EQ(piece(contents(dir.path("out.cin")), 26624), piece(contents(cineon), 26624));
    host::save(host::load(cineon, {.codes = true}), dir.path("of_cineon.dpx"));
    EXPECT_EQ(piece(contents(dir.path("of_cineon.dpx")), 2048), piece(same, 2048));
    EXPECT_THROW(host::save(host::load(cineon, {.codes = true}), dir.path("x.png")), host::Error);
}

TEST_F(Host, StoresFilmMattesOnlyWhenAsked) {
    for (const char* name : {"a.dpx", "a.cin"}) {
        for (const trellis_kind kind : {TRELLIS_KIND_CUTOUT, TRELLIS_KIND_MASK}) {
            host::Picture picture = sample_picture(8, 4);
            picture.change_kind(kind);
            host::save(picture, dir.path(name), {.force = true});
            const host::Picture shown = host::load(dir.path(name), {.depth = 8});
            EXPECT_EQ(shown.kind(), TRELLIS_KIND_IMAGE);
            EXPECT_TRUE(picture.colour() == nullptr || same_colours(shown, picture));
            for (std::size_t i = 0; picture.colour() == nullptr && i < 32; ++i) {
                EXPECT_EQ(shown.colour()[4 * i + 2], picture.matte()[i]) << name << ", pixel " << i;
            }
            host::save(picture, dir.path(name), {.force = true, .private_film_layouts = true});
            EXPECT_EQ(host::describe(dir.path(name)).kind, kind);
            const host::Picture back = host::load(dir.path(name), {.depth = 8});
            EXPECT_EQ(Bytes(back.matte(), back.matte() + 32), Bytes(picture.matte(), picture.matte() + 32));
        }
    }
}

// Threads with films of their own, in a program that has settings of its own.
TEST_F(Host, LeavesTheProcessAlone) {
    set_buffer_type_trellis(1);
    const std::filesystem::path before = std::filesystem::current_path();
    std::vector<std::thread> threads;
    std::vector<int> good(4);
    for (std::size_t n = 0; n < good.size(); ++n) {
        threads.emplace_back([&, n] {
            const std::string number = std::to_string(n);
            const host::Picture picture = sample_picture(40 + int(n), 20);
            for (const std::string extension : {".iff", ".dpx", ".cin", ".pic", ".png"}) {
                const std::string path = dir.path(number + extension);
                host::save(picture, path);
                host::save(host::load(path, {.codes = true}), dir.path("copy" + number + extension));
                good[n] += same_colours(host::load(dir.path("copy" + number + extension), {.depth = 8}), picture);
            }
        });
    }
    for (std::thread& thread : threads) { thread.join(); }
    EXPECT_EQ(good, std::vector<int>(4, 5));
    EXPECT_EQ(inq_buffer_type_trellis(), 1);
    EXPECT_EQ(std::filesystem::current_path(), before);
    set_buffer_type_trellis(0);
}

}  // namespace
