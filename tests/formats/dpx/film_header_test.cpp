// Film headers: what saves write and keep, and what probes, queries and the catalogue slot answer.

#include <gtest/gtest.h>

#include <array>
#include <ctime>
#include <filesystem>

#include "formats/dpx/film_files.h"

namespace {

using namespace support;

std::string utc(const char* pattern) {
    const std::time_t now = std::time(nullptr);
    char buffer[32];
    std::strftime(buffer, sizeof buffer, pattern, std::gmtime(&now));
    return buffer;
}

// Bytes at an offset, and again `step` bytes further on.
struct Field {
    std::size_t offset;
    Bytes bytes;
    std::size_t times = 1;
    std::size_t step = 4;
};

Bytes with_fields(Bytes header, const std::vector<Field>& fields) {
    for (const Field& field : fields) {
        for (std::size_t i = 0; i < field.times; ++i) { put(header, field.offset + i * field.step, field.bytes); }
    }
    return header;
}

const Bytes ones = hex("FF FF FF FF");
const Bytes no_float = hex("00 00 FF 4E");

// What a save of 30 × 19 pixels writes into any header.
std::vector<Field> saved_fields(bool is_dpx, int mode, const Bytes& path) {
    const std::size_t size = 30 * 19 * (mode == 4 ? 2 : static_cast<std::size_t>(mode) - 1);
    const Bytes sides = be(30, 4) + be(19, 4);
    if (is_dpx) {
        return {{0, text("SDPX") + be(2048, 4) + text("V1.0") + zeros(4) + be(2048 + size, 4)},
                {20, be(0, 4) + be(1664, 4) + be(384, 4) + be(0, 4) + path},
                {136, text(utc("%Y:%m:%d %H:")) + zeros(10)},
                {160, text("Orrery Imaging") + zeros(86)},
                {772, sides},
                {800, be(mode == 4 ? 4 : static_cast<std::uint64_t>(mode) + 45, 1)}};
    }
    const std::size_t channels = mode == 4 ? 1 : static_cast<std::size_t>(mode) - 2;
    std::vector<Field> fields = {{0, hex("80 2A 5F D7") + be(26624, 4) + be(1024, 4) + be(1024, 4) + be(24576, 4)},
                                 {20, be(26624 + size, 4) + text("V4.5") + zeros(4) + path},
                                 {132, text(utc("%Y:%m:%d")) + zeros(2) + text("20:38:50Z") + zeros(3)},
                                 {193, be(channels, 1)},
                                 {200, sides, channels, 28}};
    for (std::size_t i = 0; i < channels; ++i) {
        fields.push_back({197 + 28 * i, be(channels > 1 && i < 3 ? i + 1 : 0, 1)});
    }
    return fields;
}

std::vector<Field> default_fields(bool is_dpx, const Bytes& path) {
    if (is_dpx) {
        return {{660, ones},
                {770, be(1, 2)},
                {792, be(1023, 4) + hex("40 02 F1 AA 32 03 00 0A 00 01 00 00") + be(2048, 4)},
                {820, text("Image Description Data")},
                {852, ones + ones + no_float + ones + no_float + ones + ones, 7, 72},
                {880, hex("FF 00 00 00 FF 00 00 00 FF 00 00 00"), 7, 72},
                {1408, ones + ones + no_float + no_float + ones + ones + path},
                {1532, text(utc("%Y:%m:%d %H:"))},
                {1620, ones + ones + hex("00 01 00 00 00 01 00 00")},
                {1712, ones + ones + ones + no_float + no_float},
                {1932, no_float, 10}};
    }
    return {{198, hex("0A"), 8, 28},
            {216, hex("00 C0 7F 44"), 8, 28},
            {420, no_float, 8},
            {680, hex("00 05 00 00")},
            {720, path + text(utc("%Y:%m:%d")) + zeros(2) + text("20:38:50Z")},
            {972, no_float, 3},
            {1024, hex("FF FF FF 00") + ones + ones},
            {1068, ones + no_float}};
}

// A new header is known byte by byte; a prepared one keeps all but the fields of each save.
TEST(FilmHeader, DefaultsAndReuse) {
    const TempDir dir;
    const std::string name = dir.path(std::string(120, 'n'));
    const Bytes path = text(name.substr(0, 100));
    Bytes prepared(2048);
    for (std::size_t i = 0; i < prepared.size(); ++i) { prepared[i] = static_cast<std::uint8_t>(i * 37 + 11); }
    prepared[192] = prepared[768] = prepared[769] = 0;  // the orientations
    FilmBuffers buffers(33, 21);
    for (int i = 0; i < 2 * 3 * 4; ++i) {
        const bool is_dpx = i % 2 == 0;
        const pic_format& format = is_dpx ? dpx : cineon;
        const int mode = 4 + i / 2 % 3;
        const int start = i / 6;  // from nothing, a header, one of another size or another type
        prepare_header(format, start == 2 ? piece(prepared, 0, 2047) : prepared);
        set_last_header_type_trellis(static_cast<int>(format.type) + (start == 3 ? 1 : 0));
        if (start == 0) { free_last_header_trellis(); }
        ASSERT_EQ(buffers.save(format, mode, name, 1, 2, 30, 20), 0);
        const Bytes header = piece(contents(name), 0, 2048);
        Bytes expected = start == 1 ? prepared : with_fields(zeros(2048), default_fields(is_dpx, path));
        expected = with_fields(expected, saved_fields(is_dpx, mode, path));
        if (is_dpx) {
            // Minutes and seconds, which are the same in both places of a new header.
            const Bytes time = piece(header, 150, 6);
            EXPECT_TRUE(time[0] <= '5' && time[2] == ':' && time[3] <= '5' && time[5] == 'Z');
            put(expected, 150, time);
            put(expected, 1546, start == 1 ? piece(prepared, 1546, 6) : time);
        }
        for (std::size_t at = 0; at < 2048; ++at) {
            EXPECT_EQ(header[at], expected[at]) << "at " << at << ", case " << i;
        }
        EXPECT_EQ(last_header(), header + zeros(is_dpx ? 0 : 8));
        int type = 0;
        inq_last_header_type_trellis(&type);
        EXPECT_EQ(type, static_cast<int>(format.type));
    }
}

// What the queries and the probe say about a header, how a load takes it, and what the process-wide
// words are afterwards.
TEST(FilmHeader, Queries) {
    const TempDir dir;
    constexpr unsigned int none = untouched;
    const auto dpx_file = [](int descriptor, int bit_size = 10, int orientation = 0, bool big = true, int elements = 1,
                             std::uint64_t offset = 2048) {
        return DpxHeader{3, 2, descriptor, bit_size, orientation, big, elements, offset}.bytes();
    };
    const auto cineon_file = [](int channels, int orientation = 0, int bits = 10, const Bytes& format = {0, 5, 0, 0}) {
        return CineonHeader{3, 2, channels, orientation, bits, format}.bytes();
    };
    const auto section = [](std::uint64_t length) {
        return CineonHeader{.generic_length = length}.bytes() + zeros(1033);
    };
    const struct {
        const pic_format& format;
        Bytes file;
        unsigned int found, kind;             // by the probe
        int load, info;                       // codes; size queries fail like loads
        std::array<unsigned int, 6> answers;  // offset, kind, channels, deep, width, height
        int transfer = 254, bit_depth = 10;
    } cases[] = {
        {dpx, dpx_file(50, 8), 1, 0, 0, 0, {2048, 0, 3, 0, 3, 2}, 9, 8},
        {dpx, dpx_file(51, 10, 5, false, 1, 9), 1, 1, 0, 0, {9, 1, 4, 1, 2, 3}, 9, 10},
        {dpx, dpx_file(52, 12), 1, 1, 0, 0, {2048, 1, 4, none, 3, 2}, 9, 12},
        {dpx, dpx_file(4, 10, 0, true, 0xFFFF), 1, 2, 0, 0, {2048, 2, 1, 1, 3, 2}, 9, 10},
        {dpx, dpx_file(6), 1, 2, 0, 0, {2048, 4, 1, 1, 3, 2}, 9, 10},
        {dpx, dpx_file(0), 0, none, 0, 0, {2048, 4, 1, 1, 3, 2}, 9, 10},
        {dpx, dpx_file(50, 8, 0, false, 2), 1, 0, 39, 0, {2048, 0, 3, 0, 3, 2}, 9, 8},
        {dpx, dpx_file(50, 10, 0x0500), 1, 0, 5, 5, {2048, 0, 3, 1, none, none}, 9, 10},
        {dpx, hex("53 50 44 58") + zeros(2044), none, none, 20, 20, {}, 0, 10},
        {dpx, hex("00 50 44 58") + zeros(2044), none, none, 20, 20, {}, 0, 10},
        {cineon, cineon_file(3), 1, 0, 0, 0, {2056, 0, 3, 1, 3, 2}},
        {cineon, cineon_file(4, 5), 1, 1, 0, 0, {2056, 1, 4, 1, 2, 3}},
        {cineon, cineon_file(1), 1, 2, 0, 0, {2056, 2, 1, 1, 3, 2}},
        {cineon, cineon_file(7), 0, none, 0, 0, {2056, 4, 7, 1, 3, 2}},
        {cineon, hex("D7 5F 2A 80") + zeros(2044), 0, none, 20, 20, {}},
        {cineon, cineon_file(3, 0, 12), 1, 0, 33, 33, {}},
        {cineon, cineon_file(3, 0, 10, {1, 6, 1, 1}), 1, 0, 35, 35, {}},
        {cineon, cineon_file(3, 0, 10, {0, 6, 0, 0}), 1, 0, 36, 36, {}},
        {cineon, cineon_file(3, 0, 10, {0, 5, 1, 0}), 1, 0, 36, 36, {}},
        {cineon, cineon_file(3, 0, 10, {0, 5, 0, 1}), 1, 0, 36, 36, {}},
        {cineon, cineon_file(3, 1), 1, 0, 5, 5, {}},
        // Generic sections: the longest, a longer one, a length that is none, a short one.
        {cineon, section(2056), 1, 0, 0, 0, {2056, 0, 3, 1, 3, 2}},
        {cineon, section(2057), 1, 0, 5, 5, {}},
        {cineon, section(0xFFFFFFFF), 1, 0, 0, 0, {2056, 0, 3, 1, 3, 2}},
        {cineon, section(684), 1, 0, 0, 0, {2056, 0, 3, 1, 3, 2}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        const std::string name = dir.file("a", c.file);
        Bytes header = piece(c.file, 0, 594);
        unsigned int found = untouched;
        unsigned int kind = untouched;
        const int least = c.format.type == TRELLIS_TYPE_DPX ? 4 : 192;
        const auto probe = [&](int length) {
            return c.format.inq_type_fn(header.data(), length, name.c_str(), 0, &kind, &found);
        };
        EXPECT_EQ(probe(least - 1), 49);
        EXPECT_EQ(probe(least), 0);
        EXPECT_EQ(found, c.found);
        EXPECT_EQ(kind, c.kind);

        const auto& a = c.answers;
        std::array<unsigned int, 12> out = {0, 1, 1, a[0], a[1], a[2], a[3], 0, 0, a[4], a[5], 0};
        if (c.info != 0 && a[0] == 0) {
            out.fill(untouched);
            out[11] = 0;  // always answered
        }
        const Info info(c.format, name);
        EXPECT_EQ(info.result, c.info);
        EXPECT_EQ(info.out, out);
        EXPECT_EQ(g_bSwap, c.file[0] == 'X' ? 0 : 1);

        unsigned int width = a[4];
        unsigned int height = untouched;
        EXPECT_EQ(c.format.size_mask_fn(name.c_str(), &width, &height), c.load);
        EXPECT_EQ(width, a[4]);
        EXPECT_EQ(height, c.load == 0 ? a[5] : untouched);
        int transfer = 0;
        int bit_depth = 0;
        EXPECT_EQ(get_info(&transfer, &bit_depth), 0);
        EXPECT_EQ(transfer, c.transfer);
        EXPECT_EQ(bit_depth, c.bit_depth);
        FilmBuffers buffers(3, 3);
        EXPECT_EQ(buffers.load(c.format, name, 0, 0, 1, 1), c.load);
        EXPECT_EQ(buffers.written(), c.load == 0 ? 16 : 0);
    }
}

TEST(FilmHeader, CutAtEveryByteOrMissing) {
    const TempDir dir;
    FilmBuffers buffers(3, 2);
    unsigned int out = untouched;
    for (const pic_format* format : {&dpx, &cineon}) {
        const auto expect_all = [&](const std::string& name, int code) {
            ASSERT_EQ(format->size_pic_fn(name.c_str(), &out, &out), code);
            ASSERT_EQ(buffers.load(*format, name, 0, 0, 2, 1), code);
            ASSERT_EQ(Info(*format, name).result, code);
        };
        const bool is_dpx = format == &dpx;
        Bytes header = is_dpx ? DpxHeader{}.bytes() : CineonHeader{}.bytes();
        const std::string name = dir.file("a", header);
        unsigned int found = untouched;
        for (std::size_t size = is_dpx ? 1664 : 2048; size-- > 0;) {
            std::filesystem::resize_file(name, size);
            expect_all(name, 1);
            ASSERT_EQ(inq_dpx_type_fn_(header.data(), 594, name.c_str(), 0, &out, &found), is_dpx ? 1 : 0);
            ASSERT_EQ(found, is_dpx ? 0 : untouched);
        }
        expect_all(dir.path("missing"), 6);
        EXPECT_EQ(inq_dpx_type_fn_(header.data(), 594, "missing", 0, &out, &found), 0);
        EXPECT_EQ(found, is_dpx ? 0 : untouched);
    }
    EXPECT_EQ(buffers.written(), 0);
    EXPECT_EQ(out, untouched);
}

TEST(Catalogue, SamplesOfThePicture) {
    const TempDir dir;
    const std::string name = dir.path("a.cin");
    FilmBuffers buffers(960, 640);
    buffers.fill(960, 640, 14);
    const struct {
        int mode, x0, y0, x1, y1, step_x, step_y;
    } cases[] = {{5, 0, 0, 959, 639, 10, 10}, {6, 3, 2, 300, 131, 3, 2}, {4, 1, 5, 95, 67, 0, 0}};
    for (const auto& c : cases) {
        free_last_header_trellis();
        ASSERT_EQ(buffers.save(cineon, c.mode, name, c.x0, c.y0, c.x1, c.y1), 0);
        Bytes loaded(6144UL * 4);
        unsigned int o[3] = {};
        ASSERT_EQ(cineon.load_cat_fn(name.c_str(), loaded.data(), 6144, &o[0], &o[1], &o[2]), 0);
        // The buffer's first row is the picture's lowest.
        Bytes expected;
        for (int i = 0; i < 6144 * 4; ++i) {
            const int x = c.x0 + i / 4 % 96 * c.step_x;
            const int y = c.y1 - (63 - i / 4 / 96) * c.step_y;
            const int sample = i % 4 == 0    ? 0
                               : c.mode == 4 ? buffers.matte.at(x, y)
                                             : buffers.colour.at(x, y, i % 4 - 1);
            expected.push_back(static_cast<std::uint8_t>(sample >> 6));
        }
        EXPECT_EQ(loaded, expected) << c.mode;
    }
}

TEST(Catalogue, FormsAndCapacities) {
    const TempDir dir;
    const struct {
        const char* what;
        std::uint64_t length;
        std::size_t size;  // of the file after its header
        int capacity, result;
        unsigned int present;
        int written;
    } cases[] = {
        {"none", 0, 0, 0, 0, untouched, 0},
        {"too small", 24576, 24576, 6143, 8, untouched, 0},
        {"four bytes", 24576, 24576, 6144, 0, 1, 24576},
        {"long user data, too small", 24580, 24580, 6144, 8, untouched, 0},
        {"long user data", 24580, 24580, 6145, 0, 1, 24576},
        {"three bytes, too small", 24575, 18432, 8190, 8, untouched, 0},
        {"three bytes", 24575, 18432, 8191, 0, 1, 18432},
        {"a short length does not lower what is needed", 3, 18432, 6143, 8, untouched, 0},
        {"nor what is read", 3, 18432, 6144, 0, 1, 18432},
        {"four bytes cut", 24576, 24575, 6144, 1, 1, 24575},
        {"three bytes cut", 18432, 18431, 6144, 1, 1, 63 * 288},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Bytes file = CineonHeader{.user_length = c.length}.bytes();
        for (std::size_t i = 0; i < c.size; ++i) { file.push_back(static_cast<std::uint8_t>(i % 150)); }
        Guarded<std::uint8_t> buffer(96, 64, 4, 0);
        unsigned int o[3] = {untouched, untouched, untouched};
        EXPECT_EQ(cineon.load_cat_fn(dir.file("a", file).c_str(), buffer.data(), c.capacity, &o[0], &o[1], &o[2]),
                  c.result);
        EXPECT_EQ(o[2], c.present);
        EXPECT_EQ(o[0] * 100 + o[1], c.present == 1 ? 9664 : untouched * 101);
        EXPECT_EQ(buffer.written(), c.written);
        if (c.written == 18432) {
            // Three bytes a, b, c are stored as c, b, a, after one that keeps its value.
            for (int i = 0; i < 18432; ++i) { ASSERT_EQ(buffer.at(i % 288 / 3, 63 - i / 288, 3 - i % 3), i % 150); }
        }
    }
    EXPECT_EQ(dpx.load_cat_fn("missing", nullptr, 0, nullptr, nullptr, nullptr), 19);
}

}  // namespace
