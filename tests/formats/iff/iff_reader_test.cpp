// Probing, describing and loading Maya IFF files: chunks in every order and size, tiles raw and in
// packets, placement at both depths with vector and plain kernels, and what is refused.

#include <gtest/gtest.h>

#include <climits>
#include <filesystem>

#include "formats/iff/iff_files.h"
#include "formats/iff/run_length.h"

namespace {

using namespace support;

// Each file is probed, described and loaded as a 4 × 2 cutout.
TEST(IffReader, FilesWholeAndBroken) {
    const TempDir dir;
    const Bytes raw = hex("01 02 03 04 05 06 07 08");
    const Bytes packets = hex("83 01 83 02");
    const auto tile = [](const Bytes& pixels, std::int64_t size = -1) { return tile_chunk(0, 0, 3, 1, pixels, size); };
    const auto mask = [](const Bytes& tiles, std::uint64_t count = 1) {
        return form("CIMG", header_chunk(2, count) + form("TBMP", tiles));
    };
    const auto file = [&](const Bytes& before, std::uint64_t flags, const Bytes& pixels) {
        return form("CIMG", before + header_chunk(flags) + form("TBMP", tile(pixels)));
    };
    const auto after = [&](const Bytes& before) { return file(before, 2, raw); };
    const Bytes header = header_chunk(2);
    const Bytes fields = piece(header, 8, 24);
    const struct {
        const char* what;
        Bytes file;
        int load;
        int mattes = 0;
        int info = 0;
        unsigned int is_maya = 1;
        unsigned int kind = 2;
        unsigned int channels = 1;
    } cases[] = {
        // Headers and the chunks around them.
        {"colour", file({}, 1, raw), 1, 0, 0, 1, 0, 3},
        {"colour and alpha, and bits that mean nothing, in one packet", file({}, 0xFFFFFFF7, hex("9F 07")), 0, 8, 0, 1,
         1, 4},
        {"no channels: any tile is raw", file({}, 8, raw), 0, 0, 0, 0, 4, 0},
        {"a chunk of odd size before", after(chunk("ODD ", Bytes(5, 9))), 0, 8},
        {"a chunk without a tag before", after(chunk({0, 0, 0, 0}, Bytes(4, 9))), 0, 8},
        {"a nested form before is passed whole", after(form("META", header)), 0, 8},
        {"a form too small for its type", after(chunk("FOR4", text("META"), 3)), 1, 0, 1},
        {"a size that leads out", after(chunk("A   ", {}, 0xFFFFFFFE)), 1, 0, 1, 0},
        {"header in a nested form", form("CIMG", form("META", header)), 1, 0, 1, 0},
        {"header beyond the end", form("CIMG", chunk("TBHD", fields, 99)), 1},
        {"header without its reserve", form("CIMG", chunk("TBHD", fields)), 1},
        {"fields beyond the header's chunk, in one of another tag",
         form("CIMG", chunk("TBHD", fields, 16) + Bytes(12, 9) + form("TBMP", tile(raw))), 0, 8},
        {"the file ends behind the flags", form("CIMG", chunk("TBHD", piece(fields, 0, 16))), 1, 0, 1},
        {"the file ends before them", form("CIMG", chunk("TBHD", piece(fields, 0, 12))), 1, 0, 1, 0},
        {"no header", form("CIMG", form("TBMP", tile(raw))), 1, 0, 1, 0},
        {"form of no size", text("FOR4") + zeros(4) + text("CIMG") + header, 1},
        {"bare chunk", chunk("CIMG", {}) + header + form("TBMP", tile(raw)), 0, 8, 0, 0},
        {"another form", form("ILBM", header), 5, 0, 5, 0},
        {"bitmap before the header", form("CIMG", form("TBMP", tile(raw)) + header), 1},
        // Tiles, most of a mask.
        {"a packet beyond the last plane", file({}, 3, hex("A0 07")), 1, 8, 0, 1, 1, 4},
        {"raw with surplus bytes", mask(tile(raw + Bytes(5, 9)) + tile(raw), 2), 0, 8},
        {"raw with a size beyond the file", mask(tile(raw, 4000)), 0, 8},
        {"raw that ends in the second row", mask(tile(hex("01 02 03"), 4000)), 1, 4},
        {"one byte less is packets, here with a run beyond the tile", mask(tile(hex("83 01 84 02 00 00 00"))), 1, 8},
        {"a literal beyond the tile", mask(tile(hex("85 01 02 01 02 03"))), 1, 8},
        {"packets with surplus bytes", mask(tile(packets + Bytes(3, 9)) + tile(packets), 2), 0, 8},
        {"packets that end in the padding", mask(tile(hex("86 01 80 02"), 8 + 3)), 0, 8},
        {"packets with a size beyond the file", mask(tile(packets, 8 + 7)), 0, 8},
        {"packets that end early", mask(tile(hex("83 01 82 02"))), 1, 4},
        {"a literal cut short", mask(tile(hex("82 01 03 02 03 04"))), 1, 4},
        {"tiles without columns or rows", mask(tile_chunk(9, 0, 8, 1, {}) + tile_chunk(0, 2, 3, 1, {}) + tile(raw), 3),
         0, 8},
        {"a tile elsewhere, whose size does not matter",
         mask(text("RGBA") + be(4, 4) + be(9, 2) + be(9, 2) + chunk("ZBUF", {}) + tile(raw), 2), 0, 8},
        {"a tile shorter than its corners", mask(chunk("RGBA", Bytes(7, 0))), 1},
        {"corners cut short", mask(text("RGBA") + be(16, 4) + Bytes(7, 0)), 1},
        {"more than the packets can fill", mask(tile_chunk(0, 0, 65535, 65535, Bytes(64, 255))), 1},
        {"columns of the widest tile, in their own memory", mask(tile_chunk(0, 0, 65535, 3, Bytes(4096, 255))), 0, 8},
        {"fewer tiles than counted", mask(tile(raw), 2), 1, 8},
        {"more tiles than counted", mask(tile(raw) + text("RGBA"), 1), 0, 8},
        {"no tiles counted", mask(text("what"), 0), 0},
        {"another chunk among them", mask(tile(raw) + chunk("AUTH", {}) + tile(raw), 2), 1, 8},
        {"empty", {}, 1, 0, 1, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const std::string name = dir.file("a.iff", c.file);
        Bytes start = c.file;
        start.resize(12);
        unsigned int kind = 77;
        unsigned int is_maya = 0;
        EXPECT_EQ(maya.inq_type_fn(start.data(), 11, name.c_str(), 0, &kind, &is_maya), 49);
        EXPECT_EQ(maya.inq_type_fn(start.data(), 12, name.c_str(), 0, &kind, &is_maya), 0);
        EXPECT_EQ(is_maya, c.is_maya);
        EXPECT_EQ(kind, c.is_maya == 1 ? c.kind : 77);
        const Info info(maya, name);
        EXPECT_EQ(info.result, c.info);
        std::array<unsigned int, 12> answers = {9, 0, 0, 0, c.kind, c.channels, 0, 0, 0, 4, 2, 0};
        if (c.info != 0) { answers.fill(untouched), answers[11] = 0; }
        EXPECT_EQ(info.out, answers);
        unsigned int width = 77;
        unsigned int height = 77;
        EXPECT_EQ(maya.size_mask_fn(name.c_str(), &width, &height), c.info);
        EXPECT_EQ(width * 100 + height, c.info == 0 ? 402U : 7777U);
        Loaded<std::uint8_t> loaded(4, 2);
        EXPECT_LE(memory_of([&] { EXPECT_EQ(loaded.load(name), c.load); }), 65536U + 32U);
        EXPECT_EQ(loaded.matte.written(), c.mattes);
        EXPECT_EQ(loaded.colour.written(), c.channels == 4 ? 3 * c.mattes : 0);
    }
    const std::string name = dir.file("a.iff", mask(tile(packets)));
    EXPECT_EQ(codes_without_memory([&] { return Loaded<std::uint8_t>(4, 2).load(name); }),
              (std::vector{3, 3, 0}));  // the file's buffer, the tile
    Bytes start = text("FOR4....CIMG");
    unsigned int outs[12] = {77, 77};
    EXPECT_EQ(maya.inq_type_fn(start.data(), 12, "missing", 0, &outs[0], &outs[1]), 0);
    EXPECT_EQ(outs[0] + outs[1], 154U) << "what cannot be opened leaves the outs alone";
    EXPECT_EQ(maya.size_pic_fn("missing", &outs[0], &outs[1]), 6);
    EXPECT_EQ(maya.size_pic_fn, maya.size_mask_fn);
    EXPECT_EQ(maya.load_pic_fn("missing", nullptr, 0, 0, 0, 1, 1, 0, 0), 6);
}

// A 140 × 5 picture whose rows are few long runs, in four tiles, the upper ones first, every other
// one in packets, with all that may lie between and around them.
struct Tiled {
    static int value(int x, int y, int channel) {
        const int value = 1 + 60 * channel + 10 * y + (x + 4) / 9;
        return value == 0xA5 ? 0 : value;
    }

    static Bytes tile(int x0, int y0, int x1, int y1, std::uint64_t flags, bool packed) {
        const int width = x1 - x0 + 1;
        const int area = width * (y1 - y0 + 1);
        const int channels = flags == 1 ? 3 : flags == 2 ? 1 : 4;
        Bytes pixels;
        for (int i = 0; i < area * channels; ++i) {
            const int pixel = packed ? i % area : i / channels;
            const int channel = (flags == 1 ? 1 : 0) + (packed ? i / area : i % channels);
            pixels.push_back(static_cast<std::uint8_t>(value(x0 + pixel % width, y0 + pixel / width, channel)));
        }
        Bytes packets(2 * pixels.size());
        packets.resize(trellis::iff::encode_runs(pixels, packets));
        return tile_chunk(x0, y0, x1, y1, packed ? packets : pixels);
    }

    static Bytes file(std::uint64_t flags, bool swapped) {
        const Bytes tiles = chunk("ZBUF", Bytes(7, 9)) + tile(75, 3, 139, 4, flags, swapped) +
                            tile(0, 3, 74, 4, flags, !swapped) + form("ZBUF", Bytes(3, 9)) +
                            tile(75, 0, 139, 2, flags, !swapped) + tile(0, 0, 74, 2, flags, swapped);
        return form("CIMG", form("META", chunk("TBMP", {})) + header_chunk(flags, 4) + chunk("AUTH", Bytes(5, 9)) +
                                form("META", Bytes(4, 9)) + form("TBMP", tiles));
    }
};

template <class Sample>
void check_regions(const std::string& name, std::uint64_t flags) {
    for (int file_x = -142; file_x <= 5; file_x += 3) {
        for (int file_y = -5; file_y <= 2; ++file_y) {
            SCOPED_TRACE(std::to_string(file_x) + " " + std::to_string(file_y) + " " + std::to_string(flags));
            Loaded<Sample> loaded(1 - file_x % 71, 2);
            ASSERT_EQ(loaded.load(name, file_x, file_y), 0);
            loaded.expect(flags, [x0 = file_x, y0 = file_y](int x, int y, int channel) {
                const bool inside = x >= x0 && x < x0 + 140 && y >= y0 && y < y0 + 5;
                return inside ? Tiled::value(x - x0, y - y0, channel) : -1;
            });
        }
    }
}

TEST(IffReader, RegionsOfATiledPictureLandWhereTheyShould) {
    const TempDir dir;
    for (int i = 0; i < 6; ++i) {
        const auto flags = static_cast<std::uint64_t>(1 + i / 2);
        const std::string name = dir.file("a.iff", Tiled::file(flags, i % 2 == 1));
        check_regions<std::uint8_t>(name, flags);
        check_regions<std::uint16_t>(name, flags);
    }

    // Rectangles that meet nothing, at any distance, and buffers that are not wanted.
    const std::string name = dir.file("a.iff", Tiled::file(3, false));
    Loaded<std::uint8_t> loaded(4, 2);
    for (const int offset : {INT_MIN, INT_MAX}) {
        EXPECT_EQ(loaded.load(name, offset, 0), 0);
        EXPECT_EQ(loaded.load(name, 0, offset), 0);
    }
    EXPECT_EQ(loaded.colour.written() + loaded.matte.written(), 0);
    EXPECT_EQ(maya.load_pic_fn(name.c_str(), loaded.colour.data(), 9, 0, 0, 1, 1, 0, 0), 0);
    EXPECT_EQ(maya.load_mask_fn(name.c_str(), loaded.matte.data(), 9, 0, 0, 1, 1, 0, 0), 0);
    EXPECT_EQ(loaded.colour.written() * 100 + loaded.matte.written(), 1204);
}

// Complete rows stay: a byte less costs at most the two rows that a run covers.
TEST(IffReader, TruncationAtEveryByte) {
    const TempDir dir;
    for (const std::uint64_t flags : {2U, 3U}) {
        const Bytes file = Tiled::file(flags, false);
        const std::string name = dir.file("cut.iff", file);
        int previous = 700;
        for (std::size_t size = file.size(); size > 0;) {
            std::filesystem::resize_file(name, --size);
            Loaded<std::uint8_t> loaded(140, 5);
            const int result = loaded.load(name);
            int mattes = 0;
            loaded.expect(flags, [&](int x, int y, int channel) {
                const bool stored = loaded.matte.at(2 + x, 1 + y) != 0xA5;
                mattes += stored && channel == 0 ? 1 : 0;
                return stored ? Tiled::value(x, y, channel) : -1;
            });
            EXPECT_EQ(result, mattes < 700 ? 1 : 0) << size << ": padding is not needed";
            EXPECT_LE(previous - mattes, 2 * 75) << size;
            previous = mattes;
        }
        EXPECT_EQ(previous, 0);
    }
}

}  // namespace
