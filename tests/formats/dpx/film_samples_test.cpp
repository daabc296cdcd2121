// Scaled samples of every kind of film file.

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "formats/dpx/film_files.h"

namespace {

using namespace support;

constexpr int width = 7;
constexpr int lines = 3;

struct Kind {
    int bits, packing;
    const char* order;
    int descriptor;
};

constexpr Kind kinds[] = {
    {8, 0, "RGB", 50},  {8, 0, "Y", 6},      {8, 0, "ABGR", 52}, {10, 0, "RGB", 50},  {10, 1, "RGB", 50},
    {10, 2, "RGB", 50}, {10, 1, "RGBA", 51}, {10, 0, "A", 4},    {12, 0, "RGBA", 51}, {12, 1, "RGB", 50},
    {10, 1, "Y", 6},    {10, 2, "A", 4},     {12, 2, "B", 3},    {16, 0, "RGB", 50},  {16, 1, "ABGR", 52},
    {16, 0, "G", 2},    {12, 0, "R", 1},
};

// The codes of a line, packed as the format says: whole words, filled from either end, or without gaps from the lowest
// bit on.
Bytes packed(const std::vector<unsigned>& codes, const Kind& kind, bool big, bool fill_words) {
    const auto number = big ? be : le;
    Bytes line;
    if (kind.bits == 8) {
        for (const unsigned code : codes) { line.push_back(byte(code)); }
    } else if (kind.packing == 0 && kind.bits != 16) {
        std::vector<std::uint32_t> words(codes.size() * 12 / 32 + 1);
        for (std::size_t i = 0; i < codes.size() * static_cast<unsigned>(kind.bits); ++i) {
            const unsigned bit =
                codes[i / static_cast<unsigned>(kind.bits)] >> i % static_cast<unsigned>(kind.bits) & 1;
            words[i / 32] |= bit << i % 32;
        }
        words.resize((codes.size() * static_cast<unsigned>(kind.bits) + 31) / 32);
        for (const std::uint32_t word : words) { line = line + number(word, 4); }
    } else if (kind.bits == 10) {
        for (std::size_t i = 0; i < codes.size(); i += 3) {
            const auto code = [&](std::size_t k) { return k < codes.size() ? codes[k] : 0U; };
            unsigned word = code(i) << 20 | code(i + 1) << 10 | code(i + 2);
            if (kind.order[1] == 0) { word = code(i + 2) << 20 | code(i + 1) << 10 | code(i); }  // a lone channel
            line = line + number(kind.packing == 1 ? word << 2 : word, 4);
        }
    } else {
        for (const unsigned code : codes) {
            line = line + number(kind.bits == 12 && kind.packing == 1 ? code << 4 : code, 2);
        }
    }
    while (fill_words && line.size() % 4 != 0) { line.push_back(0xEE); }
    return line;
}

// The codes of a line of `width` pixels in runs: a repeated pixel, four different ones, none, and one that comes twice.
std::vector<unsigned> in_runs(const std::vector<unsigned>& codes) {
    const auto at = [&](std::size_t pixel) {
        return codes.begin() + static_cast<std::ptrdiff_t>(pixel * codes.size() / width);
    };
    std::vector<unsigned> runs = {1 << 1 | 1};
    runs.insert(runs.end(), at(0), at(1));
    runs.push_back(4 << 1);
    runs.insert(runs.end(), at(1), at(5));
    runs.insert(runs.end(), {0 << 1, 2 << 1 | 1});
    runs.insert(runs.end(), at(5), at(6));
    return runs;
}

int load(const std::string& name, FilmBuffers& to, int x0, int y0, int x1, int y1, int file_x = 0, int file_y = 0) {
    return load_film_samples_trellis(name.c_str(), to.colour.data(), to.colour.pitch(), to.matte.data(),
                                     to.matte.pitch(), x0, y0, x1, y1, file_x, file_y);
}

TEST(FilmSamples, EveryPackingScaledShownUprightAndCut) {
    const TempDir dir;
    const std::string name = dir.path("a");
    Noise noise(9);
    int variant = 0;
    for (const Kind& kind : kinds) {
        for (int way = 0; way < 24; ++way) {
            const bool big = way % 2 == 0;
            const int orientation = way / 2 % 8;
            const bool encoded = way >= 16;
            const bool fill_words = variant % 3 != 0 || encoded;
            const int padding = variant % 2 * 4;
            SCOPED_TRACE(variant++);
            const auto greatest = (1U << kind.bits) - 1;
            const std::string order = kind.order;
            FilmBuffers shown(width, width);
            for (int k = 0; k < width * width * 4; ++k) { shown.at(k / 4 % width, k / 4 / width, k % 4) = 0; }
            const bool columns = orientation >= 4;
            const int w = columns ? lines : width;
            const int h = columns ? width : lines;
            Bytes image;
            for (int line = 0; line < lines; ++line) {
                std::vector<unsigned> codes;
                for (int pixel = 0; pixel < width; ++pixel) {
                    int x = columns ? line : pixel;
                    int y = columns ? pixel : line;  // from the top
                    if (orientation % 2 == 1) { x = w - 1 - x; }
                    if (orientation % 4 >= 2) { y = h - 1 - y; }
                    for (const char channel : order) {
                        const unsigned fixed[] = {0, greatest / 2, greatest / 2 + 1, greatest};
                        const bool again = encoded && pixel == width - 1;
                        const unsigned code = codes.size() < 4 ? fixed[codes.size()]
                                              : again          ? codes[codes.size() - order.size()]
                                                               : noise.next() & greatest;
                        codes.push_back(code);
                        const auto sample = static_cast<std::uint16_t>(std::lround(code * 16383.0 / greatest));
                        for (std::size_t k = 0; k < 4; ++k) {
                            if ("BGRA"[k] == channel || (channel == 'Y' && k < 3)) {
                                shown.at(x, h - 1 - y, static_cast<int>(k)) = sample;
                            }
                        }
                    }
                }
                if (encoded) { codes = in_runs(codes); }
                image = image + packed(codes, kind, big, fill_words) + Bytes(static_cast<std::size_t>(padding), 0xDD);
            }
            const FilmHeader header = {.width = width,
                                       .lines = lines,
                                       .bits = kind.bits,
                                       .orientation = orientation,
                                       .big = big,
                                       .descriptor = kind.descriptor,
                                       .offset = 2060,
                                       .packing = kind.packing,
                                       .encoding = encoded ? 1 : 0,
                                       .line_padding = padding};
            const Bytes bytes = header.bytes(dpx) + zeros(12) + image;
            dir.file("a", bytes);
            for (int i = 0; i < 12; ++i) {
                const int left = i == 0 ? 0 : i % w;
                const int bottom = i == 0 ? 0 : i / 2 % h;
                const int right = i == 0 ? w - 1 : left + i % (w - left);
                const int top = i == 0 ? h - 1 : bottom + i % (h - bottom);
                FilmBuffers part(width + 1, width + 1);
                FilmBuffers expected = part;
                for (int y = bottom; y <= top; ++y) {
                    for (int k = left * 4; k < (right + 1) * 4; ++k) {
                        expected.at(k / 4 - left + 1, y - bottom + 1, k % 4) = shown.at(k / 4, y, k % 4);
                    }
                }
                ASSERT_EQ(load(name, part, 1, 1, right - left + 1, top - bottom + 1, -left, bottom), 0);
                ASSERT_EQ(part, expected) << i;
            }
            FilmBuffers outside(width + 1, width + 1);
            EXPECT_EQ(load(name, outside, 0, 0, w, 0), 9);
            EXPECT_EQ(load(name, outside, 0, 0, 0, 0, 0, h), 9);
            EXPECT_EQ(outside.written(), 0);
        }
    }
}

// Lines that are there are stored, whatever else is missing.
TEST(FilmSamples, CutAtEveryByte) {
    const TempDir dir;
    const struct {
        const pic_format* format;
        int bits, packing, encoding;
        Bytes line;
    } files[] = {{&dpx, 10, 1, 0, Bytes(12, 0xFF)},
                 {&cineon, 10, 1, 0, Bytes(12, 0xFF)},
                 {&dpx, 8, 0, 1, hex("03 FF FF FF 04 FF FF FF FF FF FF 00")}};
    for (const auto& f : files) {
        Bytes file = FilmHeader{.bits = f.bits, .file_size = 2072, .packing = f.packing, .encoding = f.encoding}.bytes(
                         *f.format) +
                     f.line + f.line;
        if (f.format == &cineon) { put(file, 4, be(2048, 4)); }
        const std::string name = dir.file("a", file);
        for (std::size_t size = file.size() + 1; size-- > 0;) {
            std::filesystem::resize_file(name, size);
            FilmBuffers buffers(3, 2);
            // Nothing is missing without the byte that fills the last word of runs.
            const bool whole = size + static_cast<unsigned>(f.encoding) >= file.size();
            ASSERT_EQ(load(name, buffers, 0, 0, 2, 1), whole ? 0 : 1) << &f - files << ", " << size;
            const int held = whole ? 2 : size < 2060U - static_cast<unsigned>(f.encoding) ? 0 : 1;
            ASSERT_EQ(buffers.written(), held * 12) << &f - files << ", " << size;
            if (held > 0) { EXPECT_EQ(buffers.at(2, 1, 2), 16383); }
        }
    }
}

TEST(FilmSamples, WhatIsOursAndWhatIsRefused) {
    const TempDir dir;
    FilmBuffers saved(9, 4);
    saved.fill(9, 4);
    const std::string name = dir.path("a");
    for (const pic_format* format : {&dpx, &cineon}) {
        free_last_header_trellis();
        ASSERT_EQ(saved.save(*format, 6, name, 0, 0, 8, 3), 0);
        FilmBuffers loaded(9, 4);
        ASSERT_EQ(load(name, loaded, 0, 0, 8, 3), 0);
        for (int k = 0; k < 9 * 4 * 4; ++k) {
            EXPECT_EQ(loaded.at(k / 4 % 9, k / 4 / 9, k % 4),
                      (saved.at(k / 4 % 9, k / 4 / 9, k % 4) * 16383 + 511) / 1023);
        }
    }
    const struct {
        FilmHeader header;
        int code;
    } cases[] = {
        {{.elements = 2, .packing = 1}, 39},
        {{.packing = 1, .sign = 1}, 5},
        {{.descriptor = 100}, 5},
        {{.bits = 32}, 5},
        {{.packing = 3}, 5},
        {{.packing = 1, .encoding = 2}, 5},
        {{.bits = 8, .encoding = 1}, 1},  // runs of nothing
        {{.magic = hex("00")}, 20},
    };
    for (const auto& c : cases) {
        FilmBuffers buffers(3, 2);
        EXPECT_EQ(load(dir.file("b", c.header.bytes(dpx) + zeros(99)), buffers, 0, 0, 2, 1), c.code) << &c - cases;
        EXPECT_EQ(buffers.written(), 0);
    }
    EXPECT_EQ(load(dir.path("missing"), saved, 0, 0, 2, 1), 6);
}

// A run that is longer than its line is not shown; the lines above are.
TEST(FilmSamples, RunsBeyondTheirLine) {
    const TempDir dir;
    for (const int count : {3, 4}) {
        const Bytes image = hex("07 FF FF FF") + Bytes{byte(2 * count + 1), 255, 255, 255};
        const std::string name = dir.file("a", FilmHeader{.bits = 8, .encoding = 1}.bytes(dpx) + image);
        FilmBuffers buffers(3, 2);
        EXPECT_EQ(load(name, buffers, 0, 0, 2, 1), count == 3 ? 0 : 1);
        EXPECT_EQ(buffers.written(), count == 3 ? 24 : 12);
    }
}

// Saves with a header of their own leave the held one alone; others start from it and publish theirs, for a slot to go
// on with. The file says how its samples are stored.
TEST(FilmSamples, SavesOfEveryBitSize) {
    const TempDir dir;
    const std::string name = dir.path("a");
    const struct {
        const pic_format* format;
        int bits, scaled, code;
    } cases[] = {{&dpx, 8, 1, 0},     {&dpx, 10, 1, 0},    {&dpx, 12, 1, 0},    {&dpx, 16, 1, 0}, {&dpx, 10, 0, 0},
                 {&cineon, 10, 1, 0}, {&cineon, 10, 0, 0}, {&cineon, 12, 1, 5}, {&dpx, 12, 0, 5}, {&dpx, 14, 1, 5}};
    for (const auto& c : cases) {
        for (int way = 0; way < 12; ++way) {
            SCOPED_TRACE(testing::Message() << &c - cases << ", " << way);
            const bool own = way % 2 == 0;
            const int orientation = way / 2 % 2 * 5;
            const int mode = 4 + way / 4;
            FilmBuffers saved(9, 4);
            saved.fill(9, 4, c.scaled == 1 || mode == 4 ? 14 : 10);
            Bytes header = FilmHeader{.bits = 10, .orientation = orientation, .packing = 2}.bytes(*c.format);
            put(header, 1600, text("kept"));
            free_last_header_trellis();
            if (!own) { prepare_header(*c.format, header); }
            const trellis_film_save options = {
                sizeof options, static_cast<int>(c.format->type), c.bits,
                c.scaled,       own ? header.data() : nullptr,    own ? header.size() : 0};
            ASSERT_EQ(save_film_samples_trellis(name.c_str(), mode == 4 ? nullptr : saved.colour.data(),
                                                saved.colour.pitch(), mode == 5 ? nullptr : saved.matte.data(),
                                                saved.matte.pitch(), 0, 0, 8, 3, &options),
                      c.code);
            if (c.code != 0) { continue; }
            EXPECT_EQ(last_header().empty(), own);
            const Bytes file = contents(name);
            EXPECT_EQ(piece(file, 1600, 4), text("kept"));
            if (c.format == &dpx) {
                EXPECT_EQ(piece(file, 803, 5), Bytes({byte(c.bits), 0, byte(c.bits % 8 == 0 ? 0 : 1), 0, 0}));
                EXPECT_EQ(piece(file, 16, 4), be(file.size(), 4));
                if (!own) { EXPECT_EQ(last_header()[803], 10); }
            }
            FilmBuffers loaded(9, 4);
            ASSERT_EQ(load(name, loaded, 0, 0, 8, 3), 0);
            const double greatest = (1 << c.bits) - 1;
            for (int k = 0; k < 9 * 4 * 4; ++k) {
                const int channel = k % 4;
                const bool held = channel == 3 ? mode != 5 : mode != 4;
                const int sample = held ? saved.at(k / 4 % 9, k / 4 / 9, channel) : 0;
                const auto code = c.scaled == 1 ? std::lround(sample * greatest / 16383)
                                  : mode == 4   ? sample >> 4
                                                : sample;
                EXPECT_EQ(loaded.at(k / 4 % 9, k / 4 / 9, channel),
                          std::lround(static_cast<double>(code) * 16383 / greatest));
            }
        }
    }
    trellis_film_save options = {4, TRELLIS_TYPE_DPX, 10, 1, nullptr, 0};
    EXPECT_EQ(save_film_samples_trellis(name.c_str(), &options, 1, nullptr, 1, 0, 0, 0, 0, &options), 8);
    for (const std::size_t size : {7U, 0U}) {  // no header, and a new one
        options = {sizeof options, TRELLIS_TYPE_DPX, 10, 1, &options, size};
        EXPECT_EQ(save_film_samples_trellis(name.c_str(), &options, 1, nullptr, 1, 0, 0, 0, 0, &options),
                  size == 7 ? 5 : 0);
    }
    EXPECT_EQ(contents(name)[801], 3);
}

}  // namespace
