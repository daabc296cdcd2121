// The Pixar probe and queries.

#include <gtest/gtest.h>

#include <array>

#include "formats/pixar/pixar_files.h"

namespace {

using support::pixar;
using support::PixarHeader;
using support::untouched;

TEST(PixarProbe, KindsAndRefusals) {
    const struct {
        const char* what;
        PixarHeader header;
        unsigned int found;
        unsigned int kind;
        int length = 594;
        int code = 0;
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
        {"all eight bytes are the magic", {.magic = 0xE880'0000'0001}, untouched, untouched},
        {"too few bytes", {}, untouched, untouched, 593, 49},
    };
    for (const auto& c : cases) {
        support::Bytes bytes = c.header.bytes();
        unsigned int kind = untouched;
        unsigned int found = untouched;
        EXPECT_EQ(pixar.inq_type_fn(bytes.data(), c.length, "none", 0, &kind, &found), c.code) << c.what;
        EXPECT_EQ(found, c.found) << c.what;
        EXPECT_EQ(kind, c.kind) << c.what;
    }
}

TEST(PixarInfo, OutsAndFailures) {
    const support::TempDir dir;
    const auto file = [&](const char* what, const PixarHeader& header) { return dir.file(what, header.bytes()); };
    using Outs = std::array<unsigned int, 12>;
    constexpr unsigned int none = untouched;
    constexpr Outs all_untouched = {none, none, none, none, none, none, none, none, none, none, none, none};
    const struct {
        std::string name;
        int result;
        int size_result;
        Outs outs;
    } cases[] = {
        {file("cutout", {.width = 640, .storage = 0}), 0, 0, {1, 0, 0, 0, 1, 4, 0, 0, 0, 640, 2, none}},
        {file("deep image", {.format = 14, .storage = 1}), 0, 0, {1, 0, 0, 0, 0, 3, 1, 0, 0, 4, 2, none}},
        {file("any three channels", {.format = 13}), 0, 0, {0, 0, 0, 0, 0, 3, 0, 0, 0, 4, 2, none}},
        {file("mask", {.format = 1, .storage = 3}), 0, 0, {0, 0, 0, 0, 2, 1, 1, 0, 0, 4, 2, none}},
        {file("two channels", {.format = 9}), 0, 0, {0, 0, 0, 0, none, 2, 0, 0, 0, 4, 2, none}},
        {file("neither", {.format = 0xFFF0, .storage = 7}), 5, 0, {none, 0, 0, 0, none, 0, none, 0, 0, 4, 2, none}},
        {file("signed", {.width = -2, .height = 32767}), 0, 0, {0, 0, 0, 0, 1, 4, 0, 0, 0, 0xFFFFFFFE, 32767, none}},
        {file("wrong magic", {.magic = 0xE880'0100'0000}), 20, 20, all_untouched},
        {dir.file("empty", {}), 1, 1, all_untouched},
        {dir.file("short", support::zeros(759)), 1, 1, all_untouched},
        {dir.path("missing"), 6, 6, all_untouched},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const support::Info info(pixar, c.name);
        EXPECT_EQ(info.result, c.result);
        EXPECT_EQ(info.out, c.outs);
        unsigned int width = untouched;
        unsigned int height = untouched;
        EXPECT_EQ(pixar.size_pic_fn(c.name.c_str(), &width, &height), c.size_result);
        EXPECT_EQ(width, c.outs[9]);
        EXPECT_EQ(height, c.outs[10]);
    }
}

}  // namespace
