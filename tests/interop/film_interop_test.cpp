// Files that go to and come from other programs, run as a user would run them. A test is skipped,
// visibly, where its programs are not installed; ./scripts/test installs them.

#include <gtest/gtest.h>

#include "formats/dpx/film_files.h"

namespace {

using namespace support;

constexpr int width = 61;
constexpr int height = 37;
constexpr std::size_t pixels = width * height;

// Codes as other programs see them: top row first, red, green and blue of each pixel.
using Codes = std::vector<unsigned int>;

// 16-bit samples of a raw file, most significant byte first: planes of green, blue and red codes,
// or interleaved samples whose upper ten bits are the code, however they were widened.
Codes raw_codes(const std::string& name, bool planes) {
    const Bytes bytes = contents(name);
    Codes codes;
    for (std::size_t i = 0; i < pixels * 3 && bytes.size() == pixels * 6; ++i) {
        const std::size_t at = 2 * (planes ? (i + 2) % 3 * pixels + i / 3 : i);
        codes.push_back((bytes[at] * 256U + bytes[at + 1]) >> (planes ? 0 : 6));
    }
    return codes;
}

class FilmInterop : public testing::Test {
  protected:
    FilmInterop() : buffers(width, height) { buffers.fill(width, height); }

    Codes codes() {
        Codes codes;
        for (int i = 0; i < width * height * 3; ++i) {
            codes.push_back(buffers.colour.at(i / 3 % width, height - 1 - i / 3 / width, 2 - i % 3));
        }
        return codes;
    }

    Codes load(const pic_format& format, const std::string& name) {
        buffers = FilmBuffers(width, height);
        EXPECT_EQ(buffers.load(format, in(name), 0, 0, width - 1, height - 1), 0);
        return codes();
    }

    Codes save(const pic_format& format, const std::string& name) {
        free_last_header_trellis();
        EXPECT_EQ(buffers.save(format, 5, in(name), 0, 0, width - 1, height - 1), 0);
        return codes();
    }

    // Cineon files are logarithmic to GraphicsMagick, and converted, unless told otherwise.
    Codes graphicsmagick(const std::string& name) const {
        EXPECT_TRUE(
            shell("gm convert -define cineon:colorspace=rgb " + in(name) + " -depth 16 -endian MSB RGB:" + in("seen")));
        return raw_codes(in("seen"), false);
    }

    Codes openimageio(const std::string& name) const {
        EXPECT_TRUE(shell("oiiotool " + in(name) + " -d uint16 -o " + in("seen.tif")));
        return graphicsmagick("seen.tif");
    }

    std::string in(const std::string& name) const { return dir.path(name); }

    TempDir dir;
    FilmBuffers buffers;
};

TEST_F(FilmInterop, FFmpegReadsAndWritesDpx) {
    if (missing("ffmpeg")) { GTEST_SKIP() << "ffmpeg is not installed"; }
    const Codes saved = save(dpx, "a.dpx");
    ASSERT_TRUE(shell("ffmpeg -v error -y -i " + in("a.dpx") + " -f rawvideo -pix_fmt gbrp10be " + in("planes")));
    EXPECT_EQ(raw_codes(in("planes"), true), saved);
    for (const std::string order : {"be", "le"}) {
        ASSERT_TRUE(shell("ffmpeg -v error -y -f rawvideo -pix_fmt gbrp10be -s 61x37 -i " + in("planes") +
                          " -pix_fmt gbrp10" + order + " " + in("b.dpx")));
        EXPECT_EQ(contents(in("b.dpx"))[0], order == "be" ? 'S' : 'X');
        EXPECT_EQ(load(dpx, "b.dpx"), saved) << order;
    }
}

TEST_F(FilmInterop, OpenImageIOReadsBothAndWritesDpx) {
    if (missing("oiiotool gm")) { GTEST_SKIP() << "oiiotool or gm is not installed"; }
    const Codes saved = save(cineon, "a.cin");
    EXPECT_EQ(openimageio("a.cin"), saved);
    EXPECT_EQ(save(dpx, "a.dpx"), saved);
    EXPECT_EQ(openimageio("a.dpx"), saved);
    ASSERT_TRUE(shell("oiiotool " + in("seen.tif") + " -d uint10 -o " + in("b.dpx")));
    EXPECT_EQ(load(dpx, "b.dpx"), saved);
}

TEST_F(FilmInterop, GraphicsMagickReadsBothAndWritesCineon) {
    if (missing("oiiotool gm")) { GTEST_SKIP() << "oiiotool or gm is not installed"; }
    const Codes saved = save(dpx, "a.dpx");
    EXPECT_EQ(graphicsmagick("a.dpx"), saved);
    EXPECT_EQ(save(cineon, "a.cin"), saved);
    EXPECT_EQ(graphicsmagick("a.cin"), saved);
    // It converts what it writes, so a third program says which codes these are.
    ASSERT_TRUE(shell("gm convert -endian MSB -size 61x37 -depth 16 RGB:" + in("seen") + " -depth 10 " + in("b.cin")));
    const Codes written = load(cineon, "b.cin");
    EXPECT_EQ(written, openimageio("b.cin"));
    EXPECT_NE(written, Codes(pixels * 3, 0));
}

}  // namespace
