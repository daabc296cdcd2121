// Film headers: what saves write and keep, and what probes, queries and the catalogue slot answer.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <ctime>
#include <filesystem>
#include <thread>

#include "formats/dpx/film_files.h"

namespace {

using namespace support;

constexpr unsigned int none = 77;  // a word that was not answered

// The time in UTC as a save writes it.
Bytes time_text(bool is_dpx) {
    const std::time_t now = std::time(nullptr);
    char buffer[24] = {};
    std::strftime(buffer, sizeof buffer, is_dpx ? "%Y:%m:%d %H:%M:%SZ" : "%Y:%m:%d", std::gmtime(&now));
    return {buffer, buffer + (is_dpx ? 24 : 12)};
}

void put_each(Bytes& header, std::size_t offset, const Bytes& field, std::size_t count, std::size_t step) {
    for (std::size_t i = 0; i < count; ++i) { put(header, offset + i * step, field); }
}

const Bytes ones = hex("FF FF FF FF");
const Bytes no_float = hex("00 00 FF 4E");
// A save of 30 × 19 pixels.
const Bytes sides = be(30, 4) + be(19, 4);
std::uint64_t image_size(int mode) { return mode == 4 ? 1140 : mode == 5 ? 2280 : 2850; }

// What a save makes of a header, or of none.
Bytes saved_dpx_header(Bytes header, int mode, const Bytes& path, const Bytes& time) {
    if (header.empty()) {
        header = zeros(2048);
        put(header, 660, ones);
        put(header, 770, be(1, 2));
        put(header, 792, be(1023, 4) + hex("40 02 F1 AA 32 03 00 0A 00 01 00 00") + be(2048, 4));
        put(header, 820, text("Image Description Data"));
        put_each(header, 852, ones + ones + no_float + ones + no_float + ones + ones, 7, 72);
        put_each(header, 880, hex("FF 00 00 00 FF 00 00 00 FF 00 00 00"), 7, 72);
        put(header, 1408, ones + ones + no_float + no_float + ones + ones + path + time);
        put(header, 1620, ones + ones + hex("00 01 00 00 00 01 00 00"));
        put(header, 1712, ones + ones + ones + no_float + no_float);
        put_each(header, 1932, no_float, 10, 4);
    }
    put(header, 0, text("SDPX") + be(2048, 4) + text("V1.0") + zeros(4) + be(2048 + image_size(mode), 4));
    put(header, 20, be(0, 4) + be(1664, 4) + be(384, 4) + be(0, 4) + path + time + text("Orrery Imaging") + zeros(86));
    put(header, 772, sides);
    put(header, 800, {byte(mode == 4 ? 4 : mode + 45)});
    return header;
}

Bytes saved_cineon_header(Bytes header, int mode, const Bytes& path, const Bytes& date) {
    if (header.empty()) {
        header = zeros(2048);
        put_each(header, 198, hex("0A"), 8, 28);
        put_each(header, 216, hex("00 C0 7F 44"), 8, 28);
        put_each(header, 420, no_float, 8, 4);
        put(header, 680, hex("00 05 00 00"));
        put(header, 720, path + date + text("20:38:50Z"));
        put_each(header, 972, no_float, 3, 4);
        put(header, 1024, hex("FF FF FF 00") + ones + ones + zeros(32) + ones + no_float);
    }
    put(header, 0, hex("80 2A 5F D7") + be(26624, 4) + be(1024, 4) + be(1024, 4) + be(24576, 4));
    put(header, 20,
        be(26624 + image_size(mode), 4) + text("V4.5") + zeros(4) + path + date + text("20:38:50Z") + zeros(3));
    put(header, 193, {byte(mode == 4 ? 1 : mode - 2)});
    for (std::size_t i = 0; i < header[193]; ++i) {
        put(header, 197 + 28 * i, {byte(mode > 4 && i < 3 ? i + 1 : 0)});
        put(header, 200 + 28 * i, sides);
    }
    return header;
}

// A new header is known byte by byte; a prepared one keeps all but the fields of each save.
TEST(FilmHeader, DefaultsAndReuse) {
    const TempDir dir;
    const std::string name = dir.path(std::string(120, 'n'));
    const Bytes path = text(name.substr(0, 100));
    Bytes prepared(2048);
    for (std::size_t i = 0; i < prepared.size(); ++i) { prepared[i] = byte(i * 37 + 11); }
    prepared[192] = prepared[768] = prepared[769] = 0;  // the orientations
    FilmBuffers buffers(33, 21);
    for (int i = 0; i < 2 * 3 * 4; ++i) {
        SCOPED_TRACE(i);
        const bool is_dpx = i % 2 == 0;
        const pic_format& format = is_dpx ? dpx : cineon;
        const int mode = 4 + i / 2 % 3;
        const int start = i / 6;  // from nothing, a header, one of another size or another type
        prepare_header(format, start == 2 ? piece(prepared, 0, 2047) : prepared);
        if (start == 0) { free_last_header_trellis(); }
        if (start == 3) { set_last_header_type_trellis(TRELLIS_TYPE_PIXAR); }
        const Bytes before = time_text(is_dpx);
        ASSERT_EQ(buffers.save(format, mode, name, 1, 2, 30, 20), 0);
        const Bytes header = piece(contents(name), 0, 2048);
        const Bytes time = piece(header, is_dpx ? 136 : 132, before.size());
        EXPECT_TRUE(before <= time && time <= time_text(is_dpx));
        const auto saved_header = is_dpx ? saved_dpx_header : saved_cineon_header;
        const Bytes expected = saved_header(start == 1 ? prepared : Bytes(), mode, path, time);
        for (std::size_t at = 0; at < 2048; ++at) { EXPECT_EQ(header[at], expected[at]) << "at " << at; }
        EXPECT_EQ(Bytes(last_header().begin(), last_header().end()), header + zeros(is_dpx ? 0 : 8));
        int type = 0;
        inq_last_header_type_trellis(&type);
        EXPECT_EQ(type, static_cast<int>(format.type));
    }
}

using Words = std::vector<unsigned int>;
using Answers = std::array<unsigned int, 6>;  // offset, kind, channels, deep, width, height

// The code of a probe that is given `length` bytes, then what it finds and the kind.
Words probe(const pic_format& format, Bytes header, int length, const std::string& name) {
    Words o(2, none);
    const int code = format.inq_type_fn(header.data(), length, name.c_str(), 0, &o[1], &o[0]);
    return {static_cast<unsigned int>(code), o[0], o[1]};
}

// What the info query and both size queries say about a file; a load goes like the latter.
void expect_answers(const pic_format& format, const std::string& file, int size_code, int info_code, const Answers& a) {
    Words answers = {0, 1, 1, a[0], a[1], a[2], a[3], 0, 0, a[4], a[5], 0};
    if (a == Answers{}) { std::fill(answers.begin(), answers.end() - 1, none); }
    Words o(12, none);
    const char* name = file.c_str();
    const int code =
        format.info_fn(name, &o[0], &o[1], &o[2], &o[3], &o[4], &o[5], &o[6], &o[7], &o[8], &o[9], &o[10], &o[11]);
    EXPECT_EQ(code, info_code);
    EXPECT_EQ(o, answers);
    for (const auto size_fn : {format.size_pic_fn, format.size_mask_fn}) {
        std::pair size(none, none);
        EXPECT_EQ(size_fn(name, &size.first, &size.second), size_code);
        EXPECT_EQ(size, size_code == 0 ? std::pair(a[4], a[5]) : std::pair(none, none));
    }
    FilmBuffers buffers(3, 3);
    EXPECT_EQ(buffers.load(format, file, 0, 0, 1, 1), size_code);
    EXPECT_EQ(buffers.written(), size_code == 0 ? 16 : 0);
}

// What the queries and the probe say about a header, how a load takes it, and what the process-wide
// words are afterwards.
TEST(FilmHeader, Queries) {
    const TempDir dir;
    const struct {
        const pic_format& format;
        FilmHeader header;
        unsigned int found, kind;  // by the probe
        int size, info;            // codes
        Answers answers;
        int transfer = 254, bit_depth = 10;
    } cases[] = {
        {dpx, {.bits = 8}, 1, 0, 0, 0, {2048, 0, 3, 0, 3, 2}, 9, 8},
        {dpx, {.orientation = 5, .big = false, .descriptor = 51, .offset = 9}, 1, 1, 0, 0, {9, 1, 4, 1, 2, 3}, 9},
        {dpx, {.bits = 12, .descriptor = 52}, 1, 1, 0, 0, {2048, 1, 4, none, 3, 2}, 9, 12},
        {dpx, {.descriptor = 4, .elements = 0xFFFF}, 1, 2, 0, 0, {2048, 2, 1, 1, 3, 2}, 9},
        {dpx, {.descriptor = 6}, 1, 2, 0, 0, {2048, 4, 1, 1, 3, 2}, 9},
        {dpx, {.descriptor = 0}, 0, none, 0, 0, {2048, 4, 1, 1, 3, 2}, 9},
        {dpx, {.bits = 8, .big = false, .elements = 2}, 1, 0, 39, 0, {2048, 0, 3, 0, 3, 2}, 9, 8},
        {dpx, {.orientation = 0x0500}, 1, 0, 5, 5, {2048, 0, 3, 1, none, none}, 9},
        {dpx, {.magic = hex("53 50 44 58"), .bits = 8}, none, none, 20, 20, {}, 9},
        {cineon, {.orientation = 5, .channels = 4}, 1, 1, 0, 0, {2056, 1, 4, 1, 2, 3}},
        {cineon, {.channels = 1}, 1, 2, 0, 0, {2056, 2, 1, 1, 3, 2}},
        {cineon, {.channels = 7}, 0, none, 0, 0, {2056, 4, 7, 1, 3, 2}},
        {cineon, {.magic = hex("D7 5F 2A 80")}, 0, none, 20, 20, {}},
        {cineon, {.bits = 12}, 1, 0, 33, 33, {}},
        {cineon, {.layout = {1, 6, 1, 1}}, 1, 0, 35, 35, {}},
        {cineon, {.layout = {0, 6, 0, 0}}, 1, 0, 36, 36, {}},
        {cineon, {.layout = {0, 5, 1, 0}}, 1, 0, 36, 36, {}},
        {cineon, {.layout = {0, 5, 0, 1}}, 1, 0, 36, 36, {}},
        {cineon, {.orientation = 1}, 1, 0, 5, 5, {}},
        // Generic sections: the longest, a longer one, a length that is none, a short one.
        {cineon, {.generic_length = 2056}, 1, 0, 0, 0, {2056, 0, 3, 1, 3, 2}},
        {cineon, {.generic_length = 2057}, 1, 0, 5, 5, {}},
        {cineon, {.generic_length = 0xFFFFFFFF}, 1, 0, 0, 0, {2056, 0, 3, 1, 3, 2}},
        {cineon, {.generic_length = 684}, 1, 0, 0, 0, {2056, 0, 3, 1, 3, 2}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        const Bytes header = c.header.bytes(c.format);
        const std::string name = dir.file("a", header + zeros(1033));
        const int least = &c.format == &dpx ? 4 : 192;
        EXPECT_EQ(probe(c.format, header, least - 1, name), (Words{49, none, none}));
        EXPECT_EQ(probe(c.format, header, least == 4 ? 4 : 194, name), (Words{0, c.found, c.kind}));
        expect_answers(c.format, name, c.size, c.info, c.answers);
        EXPECT_EQ(g_bSwap, header[0] == 'X' ? 0 : 1);
        int transfer = 0;
        int bit_depth = 0;
        EXPECT_EQ(get_info(&transfer, &bit_depth), 0);
        EXPECT_EQ(transfer, c.transfer);
        EXPECT_EQ(bit_depth, c.bit_depth);
    }
}

// A probe looks at no more than it is given. Without the number of channels a file is an image.
TEST(FilmHeader, ProbesOfExactlyTheirBytes) {
    for (const int length : {192, 193}) {
        Bytes header = FilmHeader{.channels = 1}.bytes(cineon);
        header.resize(static_cast<std::size_t>(length));
        header.shrink_to_fit();
        EXPECT_EQ(probe(cineon, header, length, ""), (Words{0, 1, 0}));
    }
}

// Whatever a failed load left, the next saves make files that load. Only what the file brought replaces what was held.
TEST(FilmHeader, SavesAfterRefusedLoads) {
    const TempDir dir;
    const std::string name = dir.path("a.cin");
    const struct {
        FilmHeader header;
        std::size_t size;  // of the refused file
        int code;
        bool brings_label;
    } cases[] = {
        {{}, 0, 1, false},
        {{}, 192, 1, false},
        {{}, 1000, 1, true},
        {{.magic = hex("89 50 4E 47")}, 2048, 20, false},
        {{.bits = 12, .orientation = 3}, 1000, 1, true},
        {{.bits = 12}, 2048, 33, true},
        {{.layout = {1, 6, 1, 1}}, 2048, 35, true},
        {{.layout = {0, 6, 1, 1}}, 2048, 36, true},
        {{.orientation = 1}, 2048, 5, true},
    };
    FilmBuffers buffers(30, 20);
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        for (const bool held : {false, true}) {
            Bytes before = FilmHeader{}.bytes(cineon);
            put(before, 452, text("held"));
            prepare_header(cineon, before);
            if (!held) { free_last_header_trellis(); }
            Bytes refused = c.header.bytes(cineon);
            put(refused, 452, text("read"));
            EXPECT_EQ(buffers.load(cineon, dir.file("b", piece(refused, 0, c.size)), 0, 0, 0, 0), c.code);
            for (int i = 0; i < 2; ++i) {
                ASSERT_EQ(buffers.save(cineon, 5, name, 0, 0, 29, 19), 0);
                const Bytes label = c.brings_label ? text("read") : held ? text("held") : zeros(4);
                EXPECT_EQ(piece(contents(name), 452, 4), label);
                EXPECT_EQ(piece(contents(name), 976, 4), held || c.brings_label ? zeros(4) : no_float);
                ASSERT_EQ(buffers.load(cineon, name, 0, 0, 29, 19), 0);
            }
        }
    }
}

TEST(FilmHeader, NamesAndLastBytesInTheHeldHeader) {
    const TempDir dir;
    FilmBuffers buffers(3, 2);
    for (const pic_format* format : {&dpx, &cineon}) {
        Bytes header = FilmHeader{}.bytes(*format);
        const std::size_t place = format == &dpx ? 36 : 32;
        put(header, place, text(dir.path("a")));
        prepare_header(*format, piece(header, 0, 1000));  // the block of a save is another one
        const char* name = reinterpret_cast<char*>(&last_header()[place]);
        ASSERT_EQ(format->save_pic_fn(name, buffers.colour.data(), buffers.colour.pitch(), 0, 0, 2, 1, 0), 0);
        EXPECT_EQ(buffers.load(*format, dir.path("a"), 0, 0, 2, 1), 0);
    }
    // A load keeps what a long generic section has there, a save does not.
    const Bytes file = FilmHeader{.generic_length = 2056}.bytes(cineon) + Bytes(1032, 7);
    EXPECT_EQ(buffers.load(cineon, dir.file("b", file), 0, 0, 2, 1), 0);
    EXPECT_EQ(last_header().back(), 7);
    EXPECT_EQ(buffers.save(cineon, 5, dir.path("b"), 0, 0, 2, 1), 0);
    EXPECT_EQ(last_header().back(), 0);
}

TEST(FilmHeader, CutAtEveryByteMissingOrInAPipe) {
    for (const pic_format* format : {&dpx, &cineon}) {
        const TempDir dir;
        const Bytes header = FilmHeader{}.bytes(*format);
        const std::string name = dir.file("a", header);
        const auto expect_failure = [&](int code, unsigned int dpx_probe_code) {
            expect_answers(*format, name, code, code, {});
            // A DPX probe reads the file, a Cineon probe only what it is given.
            EXPECT_EQ(probe(*format, header, 594, name),
                      format == &dpx ? Words({dpx_probe_code, 0, none}) : Words({0, 1, 0}));
        };
        for (std::size_t size = format == &dpx ? 1664 : 2048; size-- > 0;) {
            std::filesystem::resize_file(name, size);
            expect_failure(1, 1);
        }
        std::filesystem::remove(name);
        expect_failure(6, 0);

        // A load seeks to the image.
        ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
        std::thread writer([&] { dir.file("a", header); });
        FilmBuffers buffers(3, 2);
        EXPECT_EQ(buffers.load(*format, name, 0, 0, 2, 1), 16);
        EXPECT_EQ(buffers.written(), 0);
        writer.join();
    }
}

// The catalogue picture of a save: every n-th sample of every m-th row, from the top row down.
TEST(FilmCatalogue, SamplesOfThePicture) {
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
        Bytes expected;
        for (int i = 0; i < 6144 * 4; ++i) {
            const int x = c.x0 + i / 4 % 96 * c.step_x;
            const int y = c.y1 - i / 4 / 96 * c.step_y;
            const int sample = i % 4 == 0 ? 0 : buffers.at(x, y, c.mode == 4 ? 3 : i % 4 - 1);
            expected.push_back(byte(sample >> 6));
        }
        EXPECT_EQ(piece(contents(name), 2048, 24576), expected) << c.mode;
    }
    // A cutout without colours does not show its matte instead.
    auto& matte = buffers.matte;
    EXPECT_EQ(cineon.save_cut_fn(name.c_str(), nullptr, 1, matte.data(), matte.pitch(), 0, 0, 959, 639, 0), 0);
    EXPECT_EQ(piece(contents(name), 2048, 24576), zeros(24576));
}

TEST(FilmCatalogue, FormsAndCapacities) {
    const TempDir dir;
    const struct {
        std::int64_t length;
        int size;  // of the file after its header
        int capacity, result, written;
    } cases[] = {
        {0, 0, 0, 0, 0},
        // Four bytes a pixel, and more user data than that; with and without room for it.
        {24576, 24576, 6144, 0, 24576},
        {24580, 24580, 6144, 8, 0},
        {24580, 24580, 6145, 0, 24576},
        // Three bytes a pixel. A short length lowers neither what is needed nor what is read.
        {24575, 18432, 8190, 8, 0},
        {24575, 18432, 8191, 0, 18432},
        {3, 18432, 6143, 8, 0},
        {3, 18432, 6144, 0, 18432},
        // Cut in the last pixel.
        {24576, 24575, 6144, 1, 24575},
        {18432, 18431, 6144, 1, 63 * 288},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.length << " bytes, room for " << c.capacity);
        Bytes file = FilmHeader{.user_length = c.length}.bytes(cineon);
        for (int i = 0; i < c.size; ++i) { file.push_back(byte(i % 150)); }
        const std::string name = dir.file("a", file);
        Guarded<std::uint8_t> buffer(96, 64, 4, 0);
        std::array o = {none, none, none};
        EXPECT_EQ(cineon.load_cat_fn(name.c_str(), buffer.data(), c.capacity, &o[0], &o[1], &o[2]), c.result);
        EXPECT_EQ(o, (c.written > 0 ? std::array{96U, 64U, 1U} : std::array{none, none, none}));
        EXPECT_EQ(buffer.written(), c.written);
        // The buffer's first row is the picture's lowest. Three bytes a, b, c are stored as c, b, a,
        // after one that keeps its value.
        const int size = c.length < 24576 ? 3 : 4;
        for (int i = 0; i < c.written && c.result == 0; ++i) {
            ASSERT_EQ(buffer.at(i / size % 96, 63 - i / size / 96, size == 3 ? 3 - i % 3 : i % 4), i % 150);
        }
    }
    EXPECT_EQ(dpx.load_cat_fn("missing", nullptr, 0, nullptr, nullptr, nullptr), 19);
}

}  // namespace
