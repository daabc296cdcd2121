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
        for (int way = 0; way < 16; ++way) {
            const bool big = way % 2 == 0;
            const int orientation = way / 2;
            const bool fill_words = variant % 3 != 0;
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
                        const unsigned code = codes.size() < 4 ? fixed[codes.size()] : noise.next() & greatest;
                        codes.push_back(code);
                        const auto sample = static_cast<std::uint16_t>(std::lround(code * 16383.0 / greatest));
                        for (std::size_t k = 0; k < 4; ++k) {
                            if ("BGRA"[k] == channel || (channel == 'Y' && k < 3)) {
                                shown.at(x, h - 1 - y, static_cast<int>(k)) = sample;
                            }
                        }
                    }
                }
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
    for (const pic_format* format : {&dpx, &cineon}) {
        Bytes file = FilmHeader{.file_size = 2048 + 24, .packing = 1}.bytes(*format) + Bytes(24, 0xFF);
        if (format == &cineon) { put(file, 4, be(2048, 4)); }
        const std::string name = dir.file("a", file);
        for (std::size_t size = file.size() + 1; size-- > 0;) {
            std::filesystem::resize_file(name, size);
            FilmBuffers buffers(3, 2);
            ASSERT_EQ(load(name, buffers, 0, 0, 2, 1), size == file.size() ? 0 : 1);
            const int held = size < 2060 ? 0 : size < 2072 ? 1 : 2;
            ASSERT_EQ(buffers.written(), held * 12) << size;
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
        {{.packing = 1, .encoding = 1}, 5},
        {{.magic = hex("00")}, 20},
    };
    for (const auto& c : cases) {
        FilmBuffers buffers(3, 2);
        EXPECT_EQ(load(dir.file("b", c.header.bytes(dpx) + zeros(99)), buffers, 0, 0, 2, 1), c.code) << &c - cases;
        EXPECT_EQ(buffers.written(), 0);
    }
    EXPECT_EQ(load(dir.path("missing"), saved, 0, 0, 2, 1), 6);
}

// Saves with a header of their own keep what it says and leave the held one alone.
TEST(FilmSamples, SavesWithTheirOwnHeader) {
    const TempDir dir;
    const std::string name = dir.path("a");
    for (const pic_format* format : {&dpx, &cineon}) {
        for (const int scaled : {0, 1}) {
            FilmBuffers saved(9, 4);
            saved.fill(9, 4, scaled == 1 ? 14 : 10);
            Bytes header = FilmHeader{.orientation = 5}.bytes(*format);
            put(header, 1600, text("kept"));
            trellis_film_save options = {
                sizeof options, static_cast<int>(format->type), 10, scaled, header.data(), 2048};
            free_last_header_trellis();
            const auto save = [&](void* alpha) {
                return save_film_samples_trellis(name.c_str(), saved.colour.data(), saved.colour.pitch(), alpha,
                                                 saved.matte.pitch(), 0, 0, 8, 3, &options);
            };
            ASSERT_EQ(save(saved.matte.data()), 0);
            EXPECT_TRUE(last_header().empty());
            EXPECT_EQ(piece(contents(name), 1600, 4), text("kept"));
            FilmBuffers loaded(9, 4);
            ASSERT_EQ(loaded.load(*format, name, 0, 0, 8, 3), 0);
            for (int k = 0; k < 9 * 4 * 4; ++k) {
                const int sample = saved.at(k / 4 % 9, k / 4 / 9, k % 4);
                EXPECT_EQ(loaded.at(k / 4 % 9, k / 4 / 9, k % 4),
                          scaled == 1 ? std::lround(sample * 1023.0 / 16383) : sample);
            }
            options.header_size = 7;
            EXPECT_EQ(save(nullptr), 5);
            options = {sizeof options, static_cast<int>(format->type), 12, scaled, nullptr, 0};
            EXPECT_EQ(save(nullptr), 5);
            options.size = 4;
            EXPECT_EQ(save(nullptr), 8);
        }
    }
}

}  // namespace
