// The Pixar probe and queries.

#include <gtest/gtest.h>

#include <array>

#include "formats/pixar/pixar_files.h"

namespace {

using support::Bytes;
using support::pixar;
using support::PixarHeader;
using support::untouched;

TEST(PixarProbe, KindsAndRefusals) {
    const struct {
        const char* what;
        PixarHeader header;
        unsigned int found, kind;
    } cases[] = {
        {"image", {.format = 14}, 1, 0},
        {"cutout", {.format = 15}, 1, 1},
        {"mask", {.format = 1}, 1, 2},
        {"other channels", {.format = 7}, 0, untouched},
        {"largest", {.width = 9999, .height = 9999, .version = 10}, 1, 1},
        {"newer version", {.version = 11}, untouched, untouched},
        {"negative version", {.version = -1}, untouched, untouched},
        {"too wide", {.width = 10000}, untouched, untouched},
        {"no rows", {.height = 0}, untouched, untouched},
        {"unknown storage, no tiles", {.tile_width = 0, .storage = 9}, 1, 1},
    };
    for (const auto& c : cases) {
        Bytes bytes = c.header.bytes();
        unsigned int kind = untouched;
        unsigned int found = untouched;
        EXPECT_EQ(pixar.inq_type_fn(bytes.data(), 594, "none", 0, &kind, &found), 0) << c.what;
        EXPECT_EQ(found, c.found) << c.what;
        EXPECT_EQ(kind, c.kind) << c.what;
    }
    unsigned int kind = untouched;
    unsigned int found = untouched;
    Bytes bytes = PixarHeader{}.bytes();
    EXPECT_EQ(pixar.inq_type_fn(bytes.data(), 593, "none", 0, &kind, &found), 49);
    bytes[7] = 1;  // all eight bytes are the magic
    EXPECT_EQ(pixar.inq_type_fn(bytes.data(), 760, "none", 0, &kind, &found), 0);
    EXPECT_EQ(found, untouched);
}

TEST(PixarInfo, OutsByFormatAndStorage) {
    const support::TempDir dir;
    constexpr unsigned int none = untouched;
    const struct {
        int format, storage, result;
        std::array<unsigned int, 12> out;
    } cases[] = {
        {15, 0, 0, {1, 0, 0, 0, 1, 4, 0, 0, 0, 640, 480, none}},
        {14, 1, 0, {1, 0, 0, 0, 0, 3, 1, 0, 0, 640, 480, none}},
        {13, 2, 0, {0, 0, 0, 0, 0, 3, 0, 0, 0, 640, 480, none}},
        {1, 3, 0, {0, 0, 0, 0, 2, 1, 1, 0, 0, 640, 480, none}},
        {9, 2, 0, {0, 0, 0, 0, none, 2, 0, 0, 0, 640, 480, none}},
        {0xFFF0, 7, 5, {none, 0, 0, 0, none, 0, none, 0, 0, 640, 480, none}},
    };
    for (const auto& c : cases) {
        const PixarHeader header = {.width = 640, .height = 480, .format = c.format, .storage = c.storage};
        const support::Info info(pixar, dir.file("a.pic", header.bytes()));
        EXPECT_EQ(info.result, c.result) << c.format;
        EXPECT_EQ(info.out, c.out) << c.format;
    }
}

TEST(PixarInfo, SizesAreSignExtendedAndFailuresLeaveTheOutsAlone) {
    const support::TempDir dir;
    unsigned int width = untouched;
    unsigned int height = untouched;
    const PixarHeader header = {.width = -2, .height = 32767};
    EXPECT_EQ(pixar.size_pic_fn(dir.file("a.pic", header.bytes()).c_str(), &width, &height), 0);
    EXPECT_EQ(width, 0xFFFFFFFEU);
    EXPECT_EQ(height, 32767U);

    Bytes wrong_magic = header.bytes();
    wrong_magic[4] = 1;
    const struct {
        std::string name;
        int code;
    } cases[] = {
        {dir.path("missing.pic"), 6},
        {dir.file("empty.pic", {}), 1},
        {dir.file("short.pic", support::zeros(759)), 1},
        {dir.file("magic.pic", wrong_magic), 20},
    };
    for (const auto& c : cases) {
        width = height = untouched;
        EXPECT_EQ(pixar.size_pic_fn(c.name.c_str(), &width, &height), c.code) << c.name;
        EXPECT_EQ(width + height, 2 * untouched) << c.name;
        const support::Info info(pixar, c.name);
        EXPECT_EQ(info.result, c.code) << c.name;
        for (const unsigned int out : info.out) { EXPECT_EQ(out, untouched) << c.name; }
    }
}

}  // namespace
