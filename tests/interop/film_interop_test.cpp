// Files that go to and come from other programs, run as a user would run them. A test is skipped,
// visibly, where its programs are not installed; ./scripts/test installs them.

#include <gtest/gtest.h>

#include <cstdlib>

#include "formats/dpx/film_files.h"

namespace {

using namespace support;

constexpr int width = 61;
constexpr int height = 37;
constexpr std::size_t pixels = width * height;

bool run(const std::string& command) {
    return std::system(command.c_str()) == 0;  // NOLINT(cert-env33-c)
}

bool missing(const std::string& tools) {
    return !run("for t in " + tools + "; do command -v $t > /dev/null || exit 1; done");
}

// Codes as other programs see them: top row first, red, green and blue of each pixel.
using Codes = std::vector<unsigned int>;

Codes codes_of(FilmBuffers& buffers) {
    Codes codes;
    for (int y = height - 1; y >= 0; --y) {
        for (int i = 0; i < width * 3; ++i) {
            codes.push_back(buffers.colour.at(i / 3, y, 2 - i % 3));
        }
    }
    return codes;
}

Codes loaded(const pic_format& format, const std::string& name) {
    FilmBuffers buffers(width, height);
    EXPECT_EQ(format.load_pic_fn(name.c_str(), buffers.colour.data(), buffers.colour.pitch(), 0, 0,
                                 width - 1, height - 1, 0, 0),
              0);
    return codes_of(buffers);
}

// Interleaved 16-bit samples, most significant byte first. However a program widens ten bits to
// sixteen, the code is in the upper ten.
Codes interleaved(const std::string& name) {
    const Bytes bytes = contents(name);
    Codes codes;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        codes.push_back((bytes[i] * 256U + bytes[i + 1]) >> 6);
    }
    return codes;
}

// Planes of green, blue and red 10-bit samples, most significant byte first.
Codes planar(const std::string& name) {
    const Bytes bytes = contents(name);
    Codes codes;
    for (std::size_t i = 0; i < pixels * 3 && bytes.size() == pixels * 6; ++i) {
        const std::size_t plane = (i % 3 + 2) % 3;
        const std::size_t at = 2 * (plane * pixels + i / 3);
        codes.push_back(bytes[at] * 256U + bytes[at + 1]);
    }
    return codes;
}

class FilmInterop : public testing::Test {
  protected:
    FilmInterop() : buffers(width, height) { buffers.fill(width, height); }

    // A file of ours with noise in it; its codes.
    Codes save(const pic_format& format, const std::string& name) {
        free_last_header_trellis();
        EXPECT_EQ(buffers.save(format, 5, in(name), 0, 0, width - 1, height - 1), 0);
        return codes_of(buffers);
    }

    // Has OpenImageIO read a file.
    Codes openimageio(const std::string& name) const {
        EXPECT_TRUE(run("oiiotool " + in(name) + " -d uint16 --compression none -o " +
                        in("seen.tif") + " && gm convert " + in("seen.tif") +
                        " -depth 16 -endian MSB RGB:" + in("seen")));
        return interleaved(in("seen"));
    }

    Codes graphicsmagick(const std::string& name) const {
        // Cineon files are logarithmic to GraphicsMagick, and converted, unless told otherwise.
        EXPECT_TRUE(run("gm convert -define cineon:colorspace=rgb " + in(name) +
                        " -depth 16 -endian MSB RGB:" + in("seen")));
        return interleaved(in("seen"));
    }

    std::string in(const std::string& name) const { return dir.path(name); }

    TempDir dir;
    FilmBuffers buffers;
};

TEST_F(FilmInterop, FFmpegReadsAndWritesDpx) {
    if (missing("ffmpeg")) {
        GTEST_SKIP() << "ffmpeg is not installed";
    }
    const Codes codes = save(dpx, "a.dpx");
    ASSERT_TRUE(run("ffmpeg -v error -y -i " + in("a.dpx") + " -f rawvideo -pix_fmt gbrp10be " +
                    in("planes")));
    EXPECT_EQ(planar(in("planes")), codes);
    for (const std::string order : {"be", "le"}) {
        ASSERT_TRUE(run("ffmpeg -v error -y -f rawvideo -pix_fmt gbrp10be -s 61x37 -i " +
                        in("planes") + " -pix_fmt gbrp10" + order + " " + in("b.dpx")));
        EXPECT_EQ(contents(in("b.dpx"))[0], order == "be" ? 'S' : 'X');
        EXPECT_EQ(loaded(dpx, in("b.dpx")), codes) << order;
    }
}

TEST_F(FilmInterop, OpenImageIOReadsBothAndWritesDpx) {
    if (missing("oiiotool gm")) {
        GTEST_SKIP() << "oiiotool or gm is not installed";
    }
    const Codes codes = save(cineon, "a.cin");
    EXPECT_EQ(openimageio("a.cin"), codes);
    EXPECT_EQ(save(dpx, "a.dpx"), codes);
    EXPECT_EQ(openimageio("a.dpx"), codes);
    ASSERT_TRUE(run("oiiotool " + in("seen.tif") + " -d uint10 -o " + in("b.dpx")));
    EXPECT_EQ(loaded(dpx, in("b.dpx")), codes);
}

TEST_F(FilmInterop, GraphicsMagickReadsBothAndWritesCineon) {
    if (missing("oiiotool gm")) {
        GTEST_SKIP() << "oiiotool or gm is not installed";
    }
    const Codes codes = save(dpx, "a.dpx");
    EXPECT_EQ(graphicsmagick("a.dpx"), codes);
    EXPECT_EQ(save(cineon, "a.cin"), codes);
    EXPECT_EQ(graphicsmagick("a.cin"), codes);
    // It converts what it writes, so a third program says which codes these are.
    ASSERT_TRUE(run("gm convert -endian MSB -size 61x37 -depth 16 RGB:" + in("seen") +
                    " -depth 10 " + in("b.cin")));
    const Codes written = loaded(cineon, in("b.cin"));
    EXPECT_EQ(written, openimageio("b.cin"));
    EXPECT_NE(written, Codes(pixels * 3, 0));
}

}  // namespace
