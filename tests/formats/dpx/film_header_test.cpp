// Film headers: what saves write and keep, and what probes, queries and the catalogue slot answer.

#include <gtest/gtest.h>

#include <array>
#include <ctime>

#include "formats/dpx/film_files.h"

namespace {

using support::be;
using support::Bytes;
using support::cineon;
using support::CineonHeader;
using support::dpx;
using support::DpxHeader;
using support::FilmBuffers;
using support::hex;
using support::last_header;
using support::prepare_header;
using support::put;
using support::operator+;

constexpr unsigned int untouched = 77;

Bytes text(const std::string& characters) {
    return {characters.begin(), characters.end()};
}

Bytes first(const Bytes& bytes, std::size_t size) {
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)};
}

std::string utc(const char* pattern) {
    const std::time_t now = std::time(nullptr);
    char buffer[32];
    std::strftime(buffer, sizeof buffer, pattern, std::gmtime(&now));
    return buffer;
}

// Both time fields of a file, which must be one time between the start of the save and now.
void take_times(const Bytes& file, Bytes& expected, std::size_t a, std::size_t b,
                const char* pattern, const std::string& before) {
    const std::string now = utc(pattern);
    const std::string written(file.begin() + static_cast<std::ptrdiff_t>(a),
                              file.begin() + static_cast<std::ptrdiff_t>(a + now.size()));
    EXPECT_LE(before, written);
    EXPECT_LE(written, now);
    put(expected, a, text(written));
    put(expected, b, text(written));
}

struct Field {
    std::size_t offset;
    Bytes bytes;
};

Bytes undefined(std::size_t count) {
    Bytes marks;
    for (std::size_t i = 0; i < count; ++i) {
        marks = marks + hex("00 00 FF 4E");
    }
    return marks;
}

const Bytes all_ones(8, 0xFF);

void expect_same(const Bytes& actual, const Bytes& expected) {
    ASSERT_GE(actual.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(actual[i], expected[i]) << "at " << i;
    }
}

TEST(DpxHeader, DefaultsByteByByte) {
    const support::TempDir dir;
    const std::string name = dir.path(std::string(120, 'n') + ".dpx");
    const char* pattern = "%Y:%m:%d %H:%M:%SZ";
    FilmBuffers buffers(33, 21);
    buffers.fill(33, 21);
    free_last_header_trellis();
    const std::string before = utc(pattern);
    ASSERT_EQ(buffers.save(dpx(), 5, name, 1, 2, 30, 20), 0);
    const Bytes file = support::contents(name);

    Bytes expected = support::zeros(2048);
    const Field fields[] = {
        {0, text("SDPX") + be(2048, 4) + text("V1.0")},
        {16, be(2048 + 30 * 19 * 4, 4) + be(0, 4) + be(1664, 4) + be(384, 4) + be(0, 4)},
        {36, text(name.substr(0, 100))},
        {160, text("Orrery Imaging")},
        {660, first(all_ones, 4)},
        {768, be(0, 2) + be(1, 2) + be(30, 4) + be(19, 4)},
        {780, support::zeros(12) + be(1023, 4) + hex("40 02 F1 AA")},
        {800, hex("32 03 00 0A 00 01 00 00") + be(2048, 4)},
        {820, text("Image Description Data")},
        {1408, all_ones + undefined(2) + all_ones},
        {1432, text(name.substr(0, 100))},
        {1620, all_ones + hex("00 01 00 00 00 01 00 00")},
        {1712, all_ones + first(all_ones, 4) + undefined(2)},
        {1932, undefined(10)},
    };
    for (const Field& field : fields) {
        put(expected, field.offset, field.bytes);
    }
    for (std::size_t element = 852; element < 1356; element += 72) {
        put(expected, element, all_ones + undefined(1) + first(all_ones, 4) + undefined(1));
        put(expected, element + 20, all_ones);
        put(expected, element + 28, hex("FF 00 00 00 FF 00 00 00 FF 00 00 00"));
    }
    take_times(file, expected, 136, 1532, pattern, before);
    expect_same(file, expected);
    EXPECT_EQ(file.size(), 2048 + 30 * 19 * 4);

    // The same but for the orientation's byte order, which only a nonzero one shows.
    EXPECT_EQ(last_header(), expected);
    int type = 0;
    inq_last_header_type_trellis(&type);
    EXPECT_EQ(type, TRELLIS_TYPE_DPX);
}

TEST(CineonHeader, DefaultsByteByByte) {
    const support::TempDir dir;
    for (const int mode : {4, 5, 6}) {
        SCOPED_TRACE(mode);
        const std::string name = dir.path("a.cin");
        FilmBuffers buffers(33, 21);
        buffers.fill(33, 21);
        free_last_header_trellis();
        const std::string before = utc("%Y:%m:%d");
        ASSERT_EQ(buffers.save(cineon(), mode, name, 1, 2, 30, 20), 0);
        const Bytes file = support::contents(name);
        const std::size_t size = mode == 4 ? 2 : mode == 5 ? 4 : 5;
        const std::size_t channels = mode == 4 ? 1 : mode == 5 ? 3 : 4;

        Bytes expected = support::zeros(2056);
        const Field fields[] = {
            {0, hex("80 2A 5F D7") + be(26624, 4) + be(1024, 4) + be(1024, 4) + be(24576, 4)},
            {20, be(26624 + 30 * 19 * size, 4) + text("V4.5")},
            {32, text(name)},
            {144, text("20:38:50Z")},
            {193, {static_cast<std::uint8_t>(channels)}},
            {420, undefined(8)},
            {680, hex("00 05 00 00")},
            {720, text(name)},
            {832, text("20:38:50Z")},
            {972, undefined(3)},
            {1024, hex("FF FF FF 00") + all_ones},
            {1068, first(all_ones, 4) + undefined(1)},
        };
        for (const Field& field : fields) {
            put(expected, field.offset, field.bytes);
        }
        for (std::size_t i = 0; i < 8; ++i) {
            put(expected, 198 + 28 * i, hex("0A"));
            put(expected, 216 + 28 * i, hex("00 C0 7F 44"));
            if (i < channels) {
                put(expected, 200 + 28 * i, be(30, 4) + be(19, 4));
                expected[197 + 28 * i] =
                    static_cast<std::uint8_t>(channels > 1 && i < 3 ? i + 1 : 0);
            }
        }
        take_times(file, expected, 132, 820, "%Y:%m:%d", before);
        expect_same(file, first(expected, 2048));
        EXPECT_EQ(file.size(), 26624 + 30 * 19 * size);
        EXPECT_EQ(last_header(), expected);
    }
}

// A prepared header keeps every byte outside the fields that each save writes.
TEST(FilmHeader, Reuse) {
    const support::TempDir dir;
    struct Range {
        std::size_t begin, end;
    };
    const struct {
        const pic_format& format;
        int type;
        std::size_t size;
        std::size_t orientation_end;
        std::vector<Range> rewritten;
    } cases[] = {
        {dpx(), 33, 2048, 770, {{0, 160}, {160, 260}, {772, 780}, {800, 801}}},
        {cineon(),
         14,
         2056,
         193,
         {{0, 156},
          {193, 194},
          {197, 198},
          {200, 208},
          {225, 226},
          {228, 236},
          {253, 254},
          {256, 264}}},
    };
    for (const auto& c : cases) {
        const std::string name = dir.path("a");
        FilmBuffers buffers(4, 4);
        free_last_header_trellis();
        ASSERT_EQ(buffers.save(c.format, 5, name, 0, 0, 2, 1), 0);
        Bytes fresh = last_header();
        Bytes prepared(c.size);
        for (std::size_t i = 0; i < c.size; ++i) {
            prepared[i] = static_cast<std::uint8_t>(i * 37 + 11);
        }
        put(prepared, c.orientation_end - 2, hex("00 00"));
        Bytes expected = prepared;
        for (const Range& range : c.rewritten) {
            std::copy(fresh.begin() + static_cast<std::ptrdiff_t>(range.begin),
                      fresh.begin() + static_cast<std::ptrdiff_t>(range.end),
                      expected.begin() + static_cast<std::ptrdiff_t>(range.begin));
        }
        prepare_header(c.type, prepared);
        ASSERT_EQ(buffers.save(c.format, 5, name, 0, 0, 2, 1), 0);
        // A second may have passed since the fresh header.
        const Bytes file = support::contents(name);
        const std::size_t time = c.type == 33 ? 136 : 132;
        std::copy_n(file.begin() + static_cast<std::ptrdiff_t>(time), 24,
                    expected.begin() + static_cast<std::ptrdiff_t>(time));
        expect_same(file, first(expected, 2048));
        EXPECT_EQ(last_header(), expected);

        // Another size or another format's type is not a header of ours.
        for (const auto& [type, size] : {std::pair{c.type, c.size - 1}, {7, c.size}}) {
            prepare_header(type, first(prepared, size));
            ASSERT_EQ(buffers.save(c.format, 5, name, 0, 0, 2, 1), 0);
            EXPECT_EQ(last_header().size(), c.size);
            EXPECT_EQ(last_header()[1500], 0);
        }
    }
}

struct Info {
    int result;
    std::array<unsigned int, 12> out;

    static Info of(const pic_format& format, const std::string& name) {
        Info info{};
        info.out.fill(untouched);
        auto& o = info.out;
        info.result = format.info_fn(name.c_str(), &o[0], &o[1], &o[2], &o[3], &o[4], &o[5], &o[6],
                                     &o[7], &o[8], &o[9], &o[10], &o[11]);
        return info;
    }
};

TEST(DpxHeader, InfoByDescriptorBitSizeAndOrientation) {
    const support::TempDir dir;
    constexpr unsigned int none = untouched;
    const struct {
        DpxHeader header;
        int result;
        std::array<unsigned int, 12> out;
    } cases[] = {
        {{.width = 2048, .lines = 1556}, 0, {0, 1, 1, 2048, 0, 3, 1, 0, 0, 2048, 1556, 0}},
        {{.width = 2048, .lines = 1556, .orientation = 5, .big = false, .offset = 4096},
         0,
         {0, 1, 1, 4096, 0, 3, 1, 0, 0, 1556, 2048, 0}},
        {{.descriptor = 51, .bit_size = 8}, 0, {0, 1, 1, 2048, 1, 4, 0, 0, 0, 3, 2, 0}},
        {{.descriptor = 52, .bit_size = 12}, 0, {0, 1, 1, 2048, 1, 4, none, 0, 0, 3, 2, 0}},
        {{.descriptor = 4, .elements = 2}, 0, {0, 1, 1, 2048, 2, 1, 1, 0, 0, 3, 2, 0}},
        {{.descriptor = 6}, 0, {0, 1, 1, 2048, 4, 1, 1, 0, 0, 3, 2, 0}},
        {{.descriptor = 0}, 0, {0, 1, 1, 2048, 4, 1, 1, 0, 0, 3, 2, 0}},
        {{.orientation = 1}, 5, {0, 1, 1, 2048, 0, 3, 1, 0, 0, none, none, 0}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        const Info info = Info::of(dpx(), dir.file("a.dpx", c.header.bytes()));
        EXPECT_EQ(info.result, c.result);
        EXPECT_EQ(info.out, c.out);
        EXPECT_EQ(g_bSwap, c.header.big ? 1 : 0);
    }
}

TEST(CineonHeader, InfoByChannelsAndOrientation) {
    const support::TempDir dir;
    const struct {
        int channels, orientation;
        std::array<unsigned int, 12> out;
    } cases[] = {
        {3, 0, {0, 1, 1, 2056, 0, 3, 1, 0, 0, 2048, 1556, 0}},
        {4, 5, {0, 1, 1, 2056, 1, 4, 1, 0, 0, 1556, 2048, 0}},
        {1, 0, {0, 1, 1, 2056, 2, 1, 1, 0, 0, 2048, 1556, 0}},
        {7, 0, {0, 1, 1, 2056, 4, 7, 1, 0, 0, 2048, 1556, 0}},
    };
    for (const auto& c : cases) {
        const CineonHeader header = {
            .width = 2048, .lines = 1556, .channels = c.channels, .orientation = c.orientation};
        const Info info = Info::of(cineon(), dir.file("a.cin", header.bytes()));
        EXPECT_EQ(info.result, 0);
        EXPECT_EQ(info.out, c.out) << c.channels;
    }
}

TEST(FilmHeader, Probes) {
    const support::TempDir dir;
    constexpr unsigned int none = untouched;
    const std::string dpx_file = dir.path("a.dpx");
    struct Case {
        const char* what;
        const pic_format& format;
        Bytes header;
        int length;
        int result;
        unsigned int found, kind;
    };
    std::vector<Case> cases = {
        {"3 bytes", dpx(), DpxHeader{}.bytes(), 3, 49, none, none},
        {"minus 1", dpx(), DpxHeader{}.bytes(), -1, 49, none, none},
        {"zero bytes", dpx(), support::zeros(594), 594, 0, none, none},
        {"mixed magic", dpx(), text("SPDX"), 4, 0, none, none},
        {"191 bytes", cineon(), CineonHeader{}.bytes(), 191, 49, none, none},
        {"reversed magic", cineon(), hex("D7 5F 2A 80") + support::zeros(200), 204, 0, 0, none},
    };
    for (const auto& [descriptor, kind] :
         {std::pair{4, 2U}, {6, 2U}, {50, 0U}, {51, 1U}, {52, 1U}, {49, none}}) {
        const DpxHeader header = {.descriptor = descriptor, .big = descriptor != 50};
        cases.push_back({"descriptor", dpx(), header.bytes(), 4, 0, kind != none, kind});
    }
    for (const auto& [channels, kind] : {std::pair{1, 2U}, {3, 0U}, {4, 1U}, {2, none}}) {
        const CineonHeader header = {.channels = channels};
        cases.push_back({"channels", cineon(), header.bytes(), 192, 0, kind != none, kind});
    }
    for (auto& c : cases) {
        dir.file("a.dpx", c.header);
        unsigned int found = untouched;
        unsigned int kind = untouched;
        EXPECT_EQ(
            c.format.inq_type_fn(c.header.data(), c.length, dpx_file.c_str(), 0, &kind, &found),
            c.result)
            << c.what;
        EXPECT_EQ(found, c.found) << c.what;
        EXPECT_EQ(kind, c.kind) << c.what;
    }
    unsigned int found = untouched;
    unsigned int kind = untouched;
    Bytes header = DpxHeader{}.bytes();
    EXPECT_EQ(inq_dpx_type_fn_(header.data(), 2048, "missing", 0, &kind, &found), 0);
    EXPECT_EQ(found, 0U);
    found = untouched;
    dir.file("a.dpx", first(header, 1663));
    EXPECT_EQ(inq_dpx_type_fn_(header.data(), 2048, dpx_file.c_str(), 0, &kind, &found), 1);
    EXPECT_EQ(found, 0U);
    EXPECT_EQ(kind, untouched);
}

// Every way to refuse a header, and what the process-wide words say afterwards.
TEST(FilmHeader, RefusalsAndState) {
    const support::TempDir dir;
    Bytes wrong_dpx = DpxHeader{}.bytes();
    wrong_dpx[3] = 'Y';
    Bytes wrong_cineon = CineonHeader{}.bytes();
    wrong_cineon[0] = 0x81;
    const auto format_bytes = [](const Bytes& format) {
        return CineonHeader{.format = format}.bytes();
    };
    const Bytes longest = CineonHeader{.generic_length = 2056}.bytes() + support::zeros(1032);
    const struct {
        const char* what;
        const pic_format& format;
        Bytes file;
        int size_and_load, info;
        int transfer, bit_depth;  // as get_info reports them after the size query
    } cases[] = {
        {"fine", dpx(), DpxHeader{.bit_size = 8}.bytes(), 0, 0, 9, 8},
        {"magic", dpx(), wrong_dpx, 20, 20, 9, 8},
        {"two elements", dpx(), DpxHeader{.bit_size = 12, .elements = 2}.bytes(), 39, 0, 9, 12},
        {"minus one element", dpx(), DpxHeader{.elements = 0xFFFF}.bytes(), 0, 0, 9, 10},
        {"orientation", dpx(), DpxHeader{.orientation = 0x0500}.bytes(), 5, 5, 9, 10},
        {"magic", cineon(), wrong_cineon, 20, 20, 254, 10},
        {"12 bits", cineon(), CineonHeader{.bits = 12}.bytes(), 33, 33, 254, 10},
        {"interleave", cineon(), format_bytes({1, 6, 1, 1}), 35, 35, 254, 10},
        {"packing", cineon(), format_bytes({0, 6, 0, 0}), 36, 36, 254, 10},
        {"signed", cineon(), format_bytes({0, 5, 1, 0}), 36, 36, 254, 10},
        {"sense", cineon(), format_bytes({0, 5, 0, 1}), 36, 36, 254, 10},
        {"orientation", cineon(), CineonHeader{.orientation = 1}.bytes(), 5, 5, 254, 10},
        {"longest generic section", cineon(), longest, 0, 0, 254, 10},
        {"too long", cineon(), CineonHeader{.generic_length = 2057}.bytes(), 5, 5, 254, 10},
        {"no length", cineon(), CineonHeader{.generic_length = 0xFFFFFFFF}.bytes(), 0, 0, 254, 10},
        {"short section", cineon(), CineonHeader{.generic_length = 684}.bytes(), 0, 0, 254, 10},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const std::string name = dir.file("a", c.file);
        unsigned int width = untouched;
        unsigned int height = untouched;
        EXPECT_EQ(c.format.size_mask_fn(name.c_str(), &width, &height), c.size_and_load);
        EXPECT_EQ(width, c.size_and_load == 0 ? 3 : untouched);
        EXPECT_EQ(height, c.size_and_load == 0 ? 2 : untouched);
        int transfer = 0;
        int bit_depth = 0;
        EXPECT_EQ(get_info(&transfer, &bit_depth), 0);
        EXPECT_EQ(transfer, c.transfer);
        EXPECT_EQ(bit_depth, c.bit_depth);
        EXPECT_EQ(Info::of(c.format, name).result, c.info);
        FilmBuffers buffers(3, 2);
        EXPECT_EQ(buffers.load(c.format, name, 0, 0, 2, 1), c.size_and_load);
        EXPECT_EQ(buffers.written() > 0, c.size_and_load == 0);
    }
    for (const pic_format* format : {&dpx(), &cineon()}) {
        const Info info = Info::of(*format, dir.path("missing"));
        EXPECT_EQ(info.result, 6);
        EXPECT_EQ(info.out[0], untouched);
        EXPECT_EQ(info.out[11], 0U);
        unsigned int out = 0;
        EXPECT_EQ(format->size_pic_fn(dir.path("missing").c_str(), &out, &out), 6);
        EXPECT_EQ(FilmBuffers(1, 1).load(*format, dir.path("missing"), 0, 0, 0, 0), 6);
    }
}

TEST(FilmHeader, CutAtEveryByte) {
    const support::TempDir dir;
    const struct {
        const pic_format& format;
        Bytes header;
        std::size_t needed;
    } cases[] = {{dpx(), DpxHeader{}.bytes(), 1664}, {cineon(), CineonHeader{}.bytes(), 2048}};
    FilmBuffers buffers(3, 2);
    unsigned int out = untouched;
    for (const auto& c : cases) {
        for (std::size_t size = 0; size < c.needed; ++size) {
            const std::string name = dir.file("a", first(c.header, size));
            ASSERT_EQ(c.format.size_pic_fn(name.c_str(), &out, &out), 1) << size;
            ASSERT_EQ(Info::of(c.format, name).result, 1) << size;
            ASSERT_EQ(buffers.load(c.format, name, 0, 0, 2, 1), 1) << size;
        }
    }
    EXPECT_EQ(buffers.written(), 0);
    EXPECT_EQ(out, untouched);
}

TEST(Catalogue, SamplesOfThePicture) {
    const support::TempDir dir;
    const std::string name = dir.path("a.cin");
    const struct {
        int mode, x0, y0, x1, y1, step_x, step_y;
    } cases[] = {{5, 0, 0, 959, 639, 10, 10}, {6, 3, 2, 300, 131, 3, 2}, {4, 1, 5, 95, 67, 0, 0}};
    for (const auto& c : cases) {
        FilmBuffers buffers(960, 640);
        buffers.fill(960, 640, 14);
        free_last_header_trellis();
        ASSERT_EQ(buffers.save(cineon(), c.mode, name, c.x0, c.y0, c.x1, c.y1), 0);
        Bytes expected;
        Bytes loaded(6144UL * 4);
        unsigned int out[3] = {};
        ASSERT_EQ(
            cineon().load_cat_fn(name.c_str(), loaded.data(), 6144, &out[0], &out[1], &out[2]), 0);
        EXPECT_EQ(out[0] * 10000 + out[1] * 10 + out[2], 960641U);
        // The buffer's first row is the picture's lowest.
        for (int row = 63; row >= 0; --row) {
            for (int column = 0; column < 96; ++column) {
                const int x = c.x0 + column * c.step_x;
                const int y = c.y1 - row * c.step_y;
                expected.push_back(0);
                for (int i = 0; i < 3; ++i) {
                    const int sample =
                        c.mode == 4 ? buffers.matte.at(x, y) : buffers.colour.at(x, y, i);
                    expected.push_back(static_cast<std::uint8_t>(sample >> 6));
                }
            }
        }
        EXPECT_EQ(loaded, expected) << c.mode;
    }
}

TEST(Catalogue, FormsAndCapacities) {
    const support::TempDir dir;
    Bytes three = CineonHeader{.user_length = 24575}.bytes();
    for (int i = 0; i < 64 * 288; ++i) {
        three.push_back(static_cast<std::uint8_t>(i % 288 + i / 288));
    }
    const struct {
        const char* what;
        std::uint64_t length;
        std::size_t size;  // of the file after its header
        int capacity, result;
        bool answered;
    } cases[] = {
        {"none", 0, 0, 0, 0, false},
        {"four bytes, too small", 24576, 24576, 6143, 8, false},
        {"four bytes", 24576, 24576, 6144, 0, true},
        {"long user data, too small", 24580, 24580, 6144, 8, false},
        {"long user data", 24580, 24580, 6145, 0, true},
        {"three bytes, too small", 24575, 18432, 8190, 8, false},
        {"three bytes", 24575, 18432, 8191, 0, true},
        {"a short length does not lower what is needed", 3, 18432, 6143, 8, false},
        {"nor what is read", 3, 18432, 6144, 0, true},
        {"four bytes cut", 24576, 24575, 6144, 1, true},
        {"three bytes cut", 18432, 18431, 6144, 1, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const CineonHeader header = {.user_length = c.length};
        const std::string name = dir.file("a", header.bytes() + support::zeros(c.size));
        support::Guarded<std::uint8_t> buffer(96, 64, 4, 0);
        unsigned int out[3] = {untouched, untouched, untouched};
        EXPECT_EQ(cineon().load_cat_fn(name.c_str(), buffer.data(), c.capacity, &out[0], &out[1],
                                       &out[2]),
                  c.result);
        EXPECT_EQ(out[0], c.answered ? 96 : untouched);
        EXPECT_EQ(out[1], c.answered ? 64 : untouched);
        EXPECT_EQ(out[2], c.answered ? 1 : untouched);
        if (c.result == 0 && c.answered) {
            EXPECT_EQ(buffer.written(), c.length < 24576 ? 18432 : 24576);
        }
    }
    // Pixels a, b, c are stored as c, b, a, after a byte that keeps its value.
    support::Guarded<std::uint8_t> buffer(96, 64, 4, 0);
    unsigned int out = 0;
    ASSERT_EQ(
        cineon().load_cat_fn(dir.file("a", three).c_str(), buffer.data(), 9000, &out, &out, &out),
        0);
    for (const auto& [x, y, row] : {std::array{0, 63, 0}, {5, 62, 1}, {95, 0, 63}}) {
        EXPECT_EQ(buffer.at(x, y, 0), support::Guarded<std::uint8_t>::filler);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(buffer.at(x, y, 3 - i), static_cast<std::uint8_t>(3 * x + i + row));
        }
    }
    EXPECT_EQ(dpx().load_cat_fn("missing", nullptr, 0, nullptr, nullptr, nullptr), 19);
    for (const int type : {-1, 0, 1, 2}) {
        EXPECT_EQ(dpx().depth_supported_fn(type), type == 1 ? 1 : 0);
        EXPECT_EQ(cineon().depth_supported_fn(type), type == 1 ? 1 : 0);
    }
}

}  // namespace
