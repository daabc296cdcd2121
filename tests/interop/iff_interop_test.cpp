// Maya IFF files exchanged with oiiotool, run as anyone would run it: pixel values survive both
// ways, and the right way up.

#include <gtest/gtest.h>

#include "formats/iff/iff_files.h"

namespace {

using support::Bytes;
using support::maya;
using support::shell;

TEST(IffInterop, PicturesFromAndForOiiotool) {
    if (support::missing("oiiotool")) {
        GTEST_SKIP() << "SKIPPED: oiiotool is not installed (package openimageio-tools)";
    }
    constexpr int width = 150;
    constexpr int height = 70;
    const support::TempDir dir;
    const std::string cd = "cd " + dir.path("") + " && ";
    // Four channels, half of each line flat and half noise, no line like another; and the same
    // picture in a format whose lines run downward.
    ASSERT_TRUE(shell(cd + "oiiotool --pattern noise:mono=0 70x70 4 "
                           "--pattern fill:top=0.1,0.9,0.3,0.2:bottom=0.5,0.2,0.7,0.9 150x70 4 "
                           "--paste +80+0 --chnames R,G,B,A -d uint8 "
                           "-o rle4.iff --compression none -o none4.iff --ch R,G,B -o none3.iff "
                           "-o lines.ppm && oiiotool rle4.iff --ch R,G,B -o rle3.iff "
                           "&& oiiotool rle4.iff --ch A -o lines.pgm"));
    const auto lines = [&](const char* name) {
        const Bytes file = support::contents(dir.path(name));
        return Bytes(file.begin() + static_cast<int>(sizeof "P6\n150 70\n255"), file.end());
    };
    const Bytes colours = lines("lines.ppm");
    const Bytes mattes = lines("lines.pgm");
    ASSERT_EQ(colours.size(), 3 * mattes.size());
    for (const std::string name : {"none3", "none4", "rle3", "rle4"}) {
        SCOPED_TRACE(name);
        const bool with_matte = name.back() == '4';
        support::Loaded<std::uint8_t> loaded(width, height);
        ASSERT_EQ(loaded.load(dir.path(name + ".iff")), 0);
        EXPECT_EQ(loaded.matte.written() > 0, with_matte);
        int wrong = 0;
        for (std::size_t i = 0; i < mattes.size(); ++i) {
            const int x = static_cast<int>(i) % width;
            const int y = height - 1 - static_cast<int>(i) / width;
            for (int c = 1; c < 4; ++c) {
                const std::size_t from = 3 * i + static_cast<std::size_t>(3 - c);
                wrong += loaded.holds(colours[from], x, y, c) ? 0 : 1;
            }
            wrong += !with_matte || loaded.holds(mattes[i], x, y, 0) ? 0 : 1;
        }
        EXPECT_EQ(wrong, 0);
        ASSERT_EQ(maya.save_cut_fn(dir.path("back.iff").c_str(), &loaded.colour.at(2, 1), loaded.colour.pitch(),
                                   with_matte ? &loaded.matte.at(2, 1) : nullptr, loaded.matte.pitch(), 0, 0, width - 1,
                                   height - 1, name.front() == 'r' ? 1 : 0),
                  0);
        EXPECT_TRUE(shell(cd + "oiiotool --fail 0 --diff back.iff " + name + ".iff > /dev/null"));
    }
}

}  // namespace
