// Minipics: what the previews show, the bytes of the file, and reading it back.

#include <gtest/gtest.h>

#include <climits>
#include <filesystem>

#include "trellis/trellis.h"

#include "support/support.h"

namespace {

using support::Bytes;
using support::hex;
using support::zeros;
using support::operator+;
using List = std::vector<int>;

Bytes words(const List& values) {
    Bytes bytes;
    for (const int value : values) { bytes = bytes + support::le(static_cast<unsigned int>(value), 4); }
    return bytes;
}

Bytes record(int width, int height, const Bytes& pixels) {
    return words({16, width, height, static_cast<int>(pixels.size())}) + pixels;
}

// The mask that the shapes are tested with, 0 outside it.
std::uint8_t shade(int x, int y) { return static_cast<std::uint8_t>(x < 0 || y < 0 ? 0 : 1 + (37 * x + 11 * y) % 255); }

// A preview of the mask's columns and rows, −1 for those of its border.
Bytes record(const List& columns, const List& rows) {
    Bytes pixels;
    for (const int y : rows) {
        for (const int x : columns) { pixels.insert(pixels.end(), 4, shade(x, y)); }
    }
    return record(static_cast<int>(columns.size()), static_cast<int>(rows.size()), pixels);
}

class Minipic : public testing::Test {
  protected:
    void TearDown() override { set_sizes({100, 75, 200, 150}); }

    static void set_sizes(const List& sizes) {
        set_size_1_minipic_trellis(sizes[0], sizes[1]);
        set_size_2_minipic_trellis(sizes[2], sizes[3]);
    }

    support::TempDir dir;
    std::string picture = dir.path("a.iff");
    std::string side = dir.path("a.iff.mpc");
};

TEST_F(Minipic, PicturesOfAllShapes) {
    const struct {
        int width, height;
        List columns, rows;
        bool in_second_only = false;
    } cases[] = {
        {12, 9, {0, 3, 6, 9}, {0, 3, 6}},
        {20, 12, {0, 4, 8, 12, 16}, {-1, 0, 4, 8, -1, -1}},
        {16, 64, {-1, -1, 0, 5, 11, -1, -1}, {0, 5, 11, 16, 21, 27, 32, 37, 43, 48, 53, 59}},
        {3, 2, {0, 1, 1, 2, 2, 2}, {0, 1, 1, 1}},
        {1, 1, {0, 0, 0, -1}, {0, 0, 0}},
        // In single precision 8 / (8 / 7) is below 7, and 3 × (5 / 6) is 2.5.
        {8, 8, {-1, 0, 1, 2, 3, 5, 6, -1, -1}, {0, 1, 2, 3, 5, 6, -1}},
        {5, 5, {0, 1, 2, 3, 3, 4}, {0, 1, 2, 3, 3, 4}},
        // Less than a row or column is nothing in the first preview and one in the second.
        {900, 1, {0, 300, 600}, {0}, true},
        {1, 255, {0}, {0, 85, 170}, true},
        {99, 1, {-1, -1}, {-1, -1, -1}},
    };
    for (const auto& c : cases) {
        // The picture lies at (2, 1) of a wider buffer.
        const int pitch = c.width + 3;
        Bytes mask;
        for (int i = 0; i < pitch * (c.height + 1); ++i) { mask.push_back(shade(i % pitch - 2, i / pitch - 1)); }
        const int width = static_cast<int>(c.columns.size());
        const int height = static_cast<int>(c.rows.size());
        set_sizes({width, height, width, height});
        EXPECT_EQ(write_minipic_trellis(picture.c_str(), nullptr, mask.data(), nullptr, pitch, 2, 1, c.width + 1,
                                        c.height, 0, 2),
                  0);
        const Bytes shown = record(c.columns, c.rows);
        EXPECT_EQ(
            support::contents(side),
            words({0, 1, 20, 2, 2}) + (c.in_second_only ? record(List(c.columns.size(), -1), c.rows) : shown) + shown)
            << c.width << " x " << c.height;
    }
}

TEST_F(Minipic, SourcesAndDepths) {
    const Bytes bytes[3] = {hex("EE 0A 14 1F  EE FF FF FE"), hex("01 FE"), hex("10 20 30 40  50 60 70 80")};
    const std::vector<std::uint16_t> samples[3] = {
        {640, 1280, 1984, 16383, 16383, 16380}, {16383, 8224}, {64, 127, 128, 16576, 16383, 0, 63, 8191}};
    const struct {
        int depth, source;
        const char *given, *first;  // given: colour, matte, both in one
    } cases[] = {
        {0, 0, "c", "14 0A 14 1F FE FF FF FE"}, {0, 1, "cm", "01 0A 14 1F FE FF FF FE"},
        {0, 2, "m", "01 01 01 01 FE FE FE FE"}, {0, 3, "b", "10 20 30 40 50 60 70 80"},
        {1, 0, "c", "14 0A 14 1F FF FF FF FF"}, {1, 1, "cm", "FF 0A 14 1F 80 FF FF FF"},
        {1, 2, "m", "FF FF FF FF 80 80 80 80"}, {1, 3, "b", "01 01 02 03 FF 00 00 7F"},
        {0, 0, "mb", "0 0 0 0 0 0 0 0"},        {0, 1, "cb", "0 0 0 0 0 0 0 0"},
        {0, 1, "mb", "0 0 0 0 0 0 0 0"},        {1, 2, "cb", "0 0 0 0 0 0 0 0"},
        {1, 3, "cm", "0 0 0 0 0 0 0 0"},        {0, 4, "cmb", "0 0 0 0 0 0 0 0"},
        {2, 0, "c", "0 0 0 0 0 0 0 0"},         {3, 0, "c", "0 0 0 0 0 0 0 0"},
    };
    const std::string printed = support::printed([&] {
        set_sizes({2, 1, 2, 2});
        for (const auto& c : cases) {
            const void* buffers[3] = {};
            for (const char* which = c.given; *which != 0; ++which) {
                const auto i = std::string("cmb").find(*which);
                buffers[i] = c.depth == 1 ? static_cast<const void*>(&samples[i][0]) : &bytes[i][0];
            }
            EXPECT_EQ(write_minipic_trellis(picture.c_str(), buffers[0], buffers[1], buffers[2], 2, 0, 0, 1, 0, c.depth,
                                            c.source),
                      0);
            const Bytes first = hex(c.first);
            const Bytes second = (c.depth == 0 ? first : zeros(8)) + zeros(8);
            EXPECT_EQ(support::contents(side),
                      words({0, 1, 20, 2, c.source}) + record(2, 1, first) + record(2, 2, second))
                << c.depth << ' ' << c.source << ' ' << c.given;
        }
    });
    EXPECT_EQ(printed, "Error: BITS_12_CLUT not supported in create_minipics\n");
}

TEST_F(Minipic, SizesAndFailures) {
    std::filesystem::create_symlink("/dev/full", dir.path("full.mpc"));
    const struct {
        List sizes;
        int width, height, file_size;  // −1: no file. Only whole files are a success.
        std::string name = "a.iff";
    } cases[] = {
        {{100, 75, 200, 150}, 0, 0, 150052},
        {{2, 1, -1, 150}, 1920, 1080, 52 + 8 + 266 * 600},
        {{2, 1, -1, 7}, 27, 3, 52 + 8 + 62 * 28},  // in single precision below 63
        {{2, 1, -1, 4}, 1, 100, 36 + 8 + 16},
        {{2, 1, -2, 4}, 4, 4, -1},
        {{2, 1, -1, 4}, 10, 0, -1},
        {{0, 1, 2, 1}, 4, 4, 36},
        {{-1, -1, 2, 1}, 4, 4, -1},
        {{32768, 16384, 2, 1}, 4, 4, -1},
        {{2, 1, INT_MAX, INT_MAX}, 4, 4, -1},
        {{2, 1, 2, 1}, 4, 4, -1, "none/a"},
        {{2, 1, 2, 1}, 4, 4, -1, "full"},
    };
    for (const auto& c : cases) {
        std::filesystem::remove(side);
        set_sizes(c.sizes);
        EXPECT_EQ(write_minipic_trellis(dir.path(c.name).c_str(), nullptr, nullptr, nullptr, 4, 0, 0, c.width - 1,
                                        c.height - 1, 0, 0),
                  c.file_size > 100 ? 0 : 2);
        const int size = static_cast<int>(support::contents(side).size());
        EXPECT_EQ(support::exists(side) ? size : -1, c.file_size) << c.width << " x " << c.height << ", " << c.name;
    }
    // No rows: nothing is drawn, not even where the second preview has a row at least.
    set_sizes({2, 1, 1, 1});
    EXPECT_EQ(support::codes_without_memory([&, mask = Bytes(16, 0x55)] {
                  return write_minipic_trellis(picture.c_str(), nullptr, mask.data(), nullptr, 4, 0, 2, 3, 1, 0, 2);
              }),
              (List{2, 2, 2, 2, 0}));
    EXPECT_EQ(support::contents(side), words({0, 1, 20, 2, 2}) + record(2, 1, zeros(8)) + record(1, 1, zeros(4)));
    EXPECT_EQ(write_minipic_trellis(nullptr, nullptr, nullptr, nullptr, 1, 0, 0, 0, 0, 0, 0), 2);
}

// Reads into a buffer of `capacity` pixels and 4 more bytes; the result is the code, then width,
// height and type, −7 where they were left alone.
List read(const std::string& name, int capacity, Bytes& destination) {
    destination.assign(static_cast<std::size_t>(std::max(capacity, 0)) * 4 + 4, 0xA5);
    List result = {0, -7, -7, -7};
    result[0] = read_minipic_trellis(name.c_str(), destination.data(), capacity, &result[1], &result[2], &result[3]);
    return result;
}

TEST_F(Minipic, ReadIntoWhatTheHostHas) {
    Bytes got;
    const Bytes pixels = hex("1 2 3 4  5 6 7 8");
    const int types[6] = {1, 1, 2, 3, 0, -7};
    for (int source = 0; source < 6; ++source) {
        // A longer header and record are passed over.
        dir.file("a.iff.mpc", words({9, 9, 24, 9, source, -1, 20, 1, 2, 8, -1}) + pixels);
        for (const int capacity : {2, 5, 1, 0, -1, INT_MIN}) {
            EXPECT_EQ(read(picture, capacity, got), (List{capacity < 2 ? 26 : 0, 1, 2, types[source]}));
            Bytes expected = zeros(got.size());
            support::put(expected, 0, capacity < 2 ? Bytes() : pixels);
            support::put(expected, got.size() - 4, hex("A5 A5 A5 A5"));
            EXPECT_EQ(got, expected) << capacity;
        }
        dir.file("a.iff.mpc", words({0, 1, 20, 2, source}) + record(0, 5, {}));
        EXPECT_EQ(read(picture, 1, got), (List{0, 0, 5, types[source]}));
    }
    EXPECT_EQ(read_minipic_trellis(nullptr, nullptr, 0, nullptr, nullptr, nullptr), 24);
    EXPECT_EQ(read(dir.path("other"), 0, got), (List{24, -7, -7, -7}));
    std::filesystem::create_directory(dir.path("folder.mpc"));
    EXPECT_EQ(read(dir.path("folder"), 0, got), (List{1, -7, -7, -7}));
    EXPECT_EQ(support::codes_without_memory([&] { return read(picture, 1, got)[0]; }), (List{3, 3, 3, 0}));
}

TEST_F(Minipic, OnlySoundFilesAreRead) {
    const Bytes whole = words({0, 1, 20, 2, 0}) + record(3, 2, Bytes(24, 0x77));
    Bytes got;
    for (int length = static_cast<int>(whole.size()); length >= 0; --length) {
        const bool is_whole = length == static_cast<int>(whole.size());
        dir.file("a.iff.mpc", {whole.begin(), whole.begin() + length});
        EXPECT_EQ(read(picture, 6, got), (is_whole ? List{0, 3, 2, 1} : List{1, -7, -7, -7}));
        EXPECT_EQ(got == Bytes(28, 0xA5), !is_whole) << length;
    }
    // The words in file order: three of them are not looked at, and no source is wrong.
    const int codes[9] = {0, 0, 1, 0, 0, 1, 1, 1, 1};
    for (std::size_t word = 0; word < 9; ++word) {
        for (const int value : {INT_MIN, -1, 17, 23, 0x40000006, INT_MAX - 3, INT_MAX}) {
            Bytes file = whole;
            support::put(file, word * 4, words({value}));
            dir.file("a.iff.mpc", file);
            EXPECT_EQ(read(picture, 6, got)[0], codes[word]) << word << ": " << value;
        }
    }
    for (const List& sizes : {List{16, -3, -2, 24}, {16, 3, 2, 25}, {16, 16384, 16384, 1 << 30}}) {
        dir.file("a.iff.mpc", words({0, 1, 20, 2, 0}) + words(sizes) + Bytes(28, 0x77));
        EXPECT_LT(support::memory_of([&] { EXPECT_EQ(read(picture, 6, got)[0], 1); }), 100000U);
    }
}

}  // namespace
