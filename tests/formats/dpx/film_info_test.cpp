// What film files are said to hold.

#include <gtest/gtest.h>

#include <cstring>

#include "formats/dpx/film_files.h"

namespace {

using namespace support;

constexpr char ours[] = "Orrery Imaging";

trellis_film_info described(const std::string& name, int result = 0) {
    trellis_film_info info{};
    info.size = sizeof info;
    EXPECT_EQ(info_film_trellis(name.c_str(), &info), result);
    return info;
}

// Pictures of 5 × 3 pixels unless the header says otherwise.
TEST(FilmInfo, LinesAndWhatCannotBeLoaded) {
    const TempDir dir;
    const struct {
        const pic_format& format;
        FilmHeader header;
        int data;  // bytes after the header
        int channels;
        const char* order;
        int line, promised;
        const char *slots, *samples;  // words of the reasons
    } cases[] = {
        {dpx, {.packing = 1}, 60, 3, "RGB", 20, 60, "", ""},
        {dpx, {.big = false, .packing = 1}, 60, 3, "RGB", 20, 60, "", ""},
        {dpx, {.orientation = 5, .packing = 1}, 59, 3, "RGB", 20, 60, "", ""},
        {dpx, {.orientation = 4, .packing = 1}, 60, 3, "RGB", 20, 60, "orientation", ""},
        {dpx, {.orientation = 8, .packing = 1}, 60, 3, "RGB", 20, 60, "orientation", "orientation"},
        {dpx, {.packing = 2}, 60, 3, "RGB", 20, 60, "packing", ""},
        {dpx, {.packing = 0}, 60, 3, "RGB", 20, 60, "packing", ""},
        {dpx, {.packing = 0xFFFF}, 60, 3, "RGB", 20, 60, "packing", "packing"},
        {dpx, {.packing = 1, .encoding = 1}, 60, 3, "RGB", 0, 0, "run-length", ""},
        {dpx, {.packing = 1, .encoding = 2}, 60, 3, "RGB", 20, 60, "encoding", "encoding"},
        {dpx, {.packing = 1, .sign = 1}, 60, 3, "RGB", 20, 60, "signed", "signed"},
        {dpx, {.packing = 1, .sign = 0xFFFFFFFF}, 60, 3, "RGB", 20, 60, "", ""},
        {dpx, {.packing = 1, .line_padding = 4}, 60, 3, "RGB", 24, 72, "padding", ""},
        {dpx, {.packing = 1, .line_padding = 0xFFFFFFFF}, 60, 3, "RGB", 20, 60, "", ""},
        {dpx, {.elements = 2, .packing = 1}, 60, 3, "RGB", 20, 60, "more than one", "more than one"},
        {dpx, {.elements = 0, .packing = 1}, 60, 3, "RGB", 20, 60, "no image element", "no image element"},
        {dpx, {.width = 0, .packing = 1}, 60, 3, "RGB", 0, 0, "no size", "no size"},
        {dpx, {.lines = 0x80000000, .packing = 1}, 60, 3, "RGB", 20, 60, "impossible", "impossible"},
        {dpx, {.offset = 1663, .packing = 1}, 60, 3, "RGB", 20, 60, "inside", "inside"},
        {dpx, {.descriptor = 100}, 60, 0, "", 0, 0, "channels", "channels"},
        {dpx, {.bits = 32}, 60, 3, "RGB", 0, 0, "real", "real"},
        {dpx, {.bits = 9}, 60, 3, "RGB", 0, 0, "bit size", "bit size"},
        // Twelve and sixteen bits, and lines of bytes: their size shows whether words are filled up.
        {dpx, {.bits = 12, .packing = 0}, 60, 3, "RGB", 24, 72, "bit size", ""},
        {dpx, {.bits = 12, .packing = 1}, 90, 3, "RGB", 30, 90, "bit size", ""},
        {dpx, {.bits = 16, .descriptor = 3}, 36, 1, "B", 12, 36, "bit size", ""},
        {dpx, {.bits = 8}, 45, 3, "RGB", 15, 45, "", ""},
        {dpx, {.bits = 8}, 48, 3, "RGB", 16, 48, "padding", ""},
        {dpx, {.bits = 8}, 44, 3, "RGB", 16, 48, "padding", ""},  // in doubt, whole words
        {dpx, {.bits = 8, .file_size = 2048 + 45}, 44, 3, "RGB", 15, 45, "", ""},
        {dpx, {.bits = 8, .line_padding = 1}, 48, 3, "RGB", 16, 48, "padding", ""},
        {dpx, {.bits = 8, .descriptor = 51}, 60, 4, "RGBA", 20, 60, "", ""},
        {dpx, {.bits = 8, .descriptor = 52}, 60, 4, "ABGR", 20, 60, "matte first", ""},
        {dpx, {.bits = 8, .descriptor = 6}, 15, 1, "Y", 5, 15, "luma", ""},
        // Cutouts and masks of ten bits: ours, or of words of three samples.
        {dpx, {.descriptor = 51, .packing = 1, .creator = ours}, 75, 4, "RGBA", 25, 75, "", ""},
        {dpx, {.descriptor = 51, .packing = 1, .creator = ours}, 70, 4, "RGBA", 25, 75, "", ""},
        {dpx, {.descriptor = 51, .packing = 1, .creator = ours}, 84, 4, "RGBA", 28, 84, "words of three", ""},
        {dpx, {.descriptor = 51, .packing = 1}, 84, 4, "RGBA", 28, 84, "words of three", ""},
        {dpx, {.descriptor = 51, .packing = 1}, 75, 4, "RGBA", 28, 84, "another layout", "another layout"},
        {dpx, {.descriptor = 4, .packing = 1, .creator = ours}, 30, 1, "A", 10, 30, "", ""},
        {dpx, {.descriptor = 4, .packing = 1}, 24, 1, "A", 8, 24, "words of three", ""},
        {cineon, {.user_length = 9}, 60, 3, "RGB", 20, 60, "user data", ""},
        {cineon, {.channels = 4}, 60, 4, "RGBA", 28, 84, "user data", ""},
        {cineon, {.channels = 2}, 60, 0, "", 0, 0, "channels", "channels"},
        {cineon, {.bits = 12}, 60, 3, "RGB", 32, 96, "bit size", "bit size"},
        {cineon, {.layout = {1, 5, 0, 0}}, 60, 3, "RGB", 20, 60, "apart", "apart"},
        {cineon, {.layout = {0, 6, 0, 0}}, 60, 3, "RGB", 20, 60, "packing", "packing"},
        {cineon, {.layout = {0, 5, 1, 0}}, 60, 3, "RGB", 20, 60, "signed", "signed"},
        {cineon, {.layout = {0, 5, 0, 1}}, 60, 3, "RGB", 20, 60, "negative", "negative"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        FilmHeader header = c.header;
        if (header.width == 3) { header.width = 5; }
        if (header.lines == 2) { header.lines = 3; }
        const trellis_film_info info =
            described(dir.file("a", header.bytes(c.format) + zeros(static_cast<std::size_t>(c.data))));
        EXPECT_EQ(info.channels, c.channels);
        EXPECT_STREQ(info.channel_order, c.order);
        if (header.lines != 0x80000000) {
            EXPECT_EQ(info.line_size, c.line);
            EXPECT_EQ(info.promised_size, c.promised);
        }
        EXPECT_TRUE(std::strstr(info.slots_reason, c.slots) && (*c.slots || !*info.slots_reason)) << info.slots_reason;
        EXPECT_TRUE(std::strstr(info.samples_reason, c.samples) && (*c.samples || !*info.samples_reason))
            << info.samples_reason;
    }
}

TEST(FilmInfo, FieldsAndFailures) {
    const TempDir dir;
    const FilmHeader header = {.width = 7,
                               .lines = 4,
                               .bits = 16,
                               .orientation = 6,
                               .big = false,
                               .descriptor = 52,
                               .offset = 1700,
                               .packing = 2,
                               .sign = 5,
                               .line_padding = 3};
    Bytes bytes = header.bytes(dpx);
    put(bytes, 816, le(6, 4));
    g_bSwap = 1;
    const std::string name = dir.file("a", bytes);
    trellis_film_info info = described(name);
    EXPECT_EQ(info.format, TRELLIS_TYPE_DPX);
    EXPECT_EQ(std::pair(info.width, info.height), std::pair(4U, 7U));
    EXPECT_EQ((std::array{info.big_endian, info.descriptor, info.bit_size, info.packing, info.encoding, info.transfer,
                          info.colorimetric, info.orientation, info.elements, info.private_layout}),
              (std::array{0, 52, 16, 2, 0, 9, 7, 6, 1, 0}));
    EXPECT_EQ((std::array{info.data_sign, info.line_padding, info.image_padding}), (std::array{5U, 3U, 6U}));
    EXPECT_EQ((std::array{info.image_offset, info.file_size, info.line_size, info.promised_size, info.present_size}),
              (std::array<std::uint64_t, 5>{1700, 2048, 59, 236, 236}));
    EXPECT_EQ(g_bSwap, 1);

    // A smaller record of an older host.
    info = {};
    info.size = offsetof(trellis_film_info, channels);
    EXPECT_EQ(info_film_trellis(name.c_str(), &info), 0);
    EXPECT_EQ(info.height, 7U);
    EXPECT_EQ(info.channels, 0);
    info.size = sizeof info.size;
    EXPECT_EQ(info_film_trellis(name.c_str(), &info), 8);
    EXPECT_EQ(info_film_trellis(name.c_str(), nullptr), 8);

    described(dir.path("missing"), 6);
    described(dir.file("a", zeros(2048)), 20);
    for (const pic_format* format : {&dpx, &cineon}) {
        const std::size_t least = format == &dpx ? 1664 : 712;
        described(dir.file("a", piece(FilmHeader{}.bytes(*format), 0, least)));
        for (std::size_t size = 0; size < least; size += size < 8 ? 1 : 97) {
            described(dir.file("a", piece(FilmHeader{}.bytes(*format), 0, size)), 1);
        }
    }
}

}  // namespace
