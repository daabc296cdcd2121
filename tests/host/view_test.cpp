// Pictures for people to look at: their extent, the areas that pixels stand for, and film codes as
// a screen shows them.

#include "trellis/sidedata.h"
#include "trellis/view.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>

#include "support/support.h"

namespace {

using namespace support;
namespace host = trellis::host;

/// A picture from rows of samples, the top line first.
template <class Sample>
host::Picture picture_of(trellis_kind kind, int width, int height, const std::vector<Sample>& samples) {
    host::Picture picture(kind, width, height, sizeof(Sample) == 1 ? 8 : 16);
    const auto row_size = samples.size() / static_cast<std::size_t>(height);
    for (int row = 0; row < height; ++row) {
        host::set_row(picture, row, &samples[static_cast<std::size_t>(row) * row_size]);
    }
    return picture;
}

template <class Sample = std::uint8_t>
std::vector<Sample> rows_of(const host::Picture& picture) {
    const auto row_size = static_cast<std::size_t>(host::samples_of_row(picture) * picture.width());
    std::vector<Sample> samples(row_size * static_cast<std::size_t>(picture.height()));
    for (int row = 0; row < picture.height(); ++row) {
        host::get_row(picture, row, &samples[static_cast<std::size_t>(row) * row_size]);
    }
    return samples;
}

TEST(View, FitsPicturesIntoBoxes) {
    const struct {
        host::Extent picture, box, fitted;
    } cases[] = {
        {{200, 100}, {256, 256}, {200, 100}},       {{2048, 1556}, {128, 128}, {128, 97}},
        {{1556, 2048}, {128, 128}, {97, 128}},      {{30000, 1}, {128, 128}, {128, 1}},
        {{300, 300}, {100, 50}, {50, 50}},          {{1, 65535}, {16, 16}, {1, 16}},
        {{2147483647, 2147483647}, {7, 7}, {7, 7}},
    };
    for (const auto& c : cases) { EXPECT_EQ(host::fitted(c.picture, c.box), c.fitted) << c.picture.width; }
}

TEST(View, PixelsAreTheMeanOfTheAreaThatTheyCover) {
    const host::Picture mask = picture_of<std::uint8_t>(TRELLIS_KIND_MASK, 3, 2, {0, 30, 90, 60, 60, 255});
    EXPECT_EQ(rows_of(host::scaled(mask, {3, 2})), rows_of(mask));
    EXPECT_EQ(rows_of(host::scaled(mask, {1, 1})), Bytes{83});         // 495 / 6, to the nearest
    EXPECT_EQ(rows_of(host::scaled(mask, {2, 1})), (Bytes{35, 130}));  // one and a half columns each
    EXPECT_EQ(rows_of(host::scaled(mask, {6, 2})), (Bytes{0, 0, 30, 30, 90, 90, 60, 60, 60, 60, 255, 255}));

    // The colour of what is transparent does not show, nor does its lack of colour darken the rest.
    const host::Picture cutout = picture_of<std::uint8_t>(TRELLIS_KIND_CUTOUT, 2, 2,
                                                          {200, 100, 0, 255, 9, 9, 9, 0, 100, 200, 7, 255, 9, 9, 9, 0});
    EXPECT_EQ(rows_of(host::scaled(cutout, {1, 1})), (Bytes{150, 150, 4, 128}));
    EXPECT_EQ(rows_of(host::scaled(cutout, {2, 1})), (Bytes{150, 150, 4, 255, 0, 0, 0, 0}));

    const host::Picture deep = picture_of<std::uint16_t>(TRELLIS_KIND_IMAGE, 1, 2, {65535, 4, 0, 65535, 12, 80});
    EXPECT_EQ(rows_of<std::uint16_t>(host::scaled(deep, {1, 1})), (std::vector<std::uint16_t>{65535, 8, 40}));
}

TEST(View, RowsHaveTheWholeRangeOfTheirSamples) {
    const host::Picture bytes = picture_of<std::uint8_t>(TRELLIS_KIND_MASK, 3, 1, {0, 128, 255});
    EXPECT_EQ(rows_of<std::uint16_t>(bytes), (std::vector<std::uint16_t>{0, 128 * 257, 65535}));
    host::Picture codes(TRELLIS_KIND_MASK, 3, 1, 10);
    std::memcpy(codes.matte(), std::vector<std::uint16_t>{0, 512, 1023}.data(), 6);
    EXPECT_EQ(rows_of(codes), (Bytes{0, 128, 255}));
    EXPECT_EQ(rows_of<std::uint16_t>(codes), (std::vector<std::uint16_t>{0, 32800, 65535}));
    const host::Picture deep = picture_of<std::uint16_t>(TRELLIS_KIND_MASK, 3, 1, {3, 0x8002, 0xFFFF});
    EXPECT_EQ(rows_of<std::uint16_t>(deep), (std::vector<std::uint16_t>{0, 0x8002, 0xFFFF}));
    EXPECT_EQ(rows_of(deep), (Bytes{0, 128, 255}));
}

// A picture of more pixels than are held at once, in which every row is another.
TEST(View, LoadsBandsAsIfTheyWereOnePicture) {
    const TempDir dir;
    host::Picture tall(TRELLIS_KIND_IMAGE, 600, 30'000);
    for (int y = 0; y < tall.height(); ++y) {
        std::fill_n(tall.colour_at(0, y), 4 * 600, static_cast<std::uint8_t>(y / 251 * 7));
    }
    host::save(tall, dir.path("tall.pic"));
    const host::Picture loaded = host::load_fitted(dir.path("tall.pic"), {500, 500});
    EXPECT_EQ(loaded.width(), 10);
    EXPECT_EQ(rows_of(loaded), rows_of(host::scaled(tall, {10, 500})));
    const host::LoadOptions part = {.region = host::Region{10, 29'000, 109, 29'999}, .depth = 16};
    EXPECT_EQ(rows_of(host::load_fitted(dir.path("tall.pic"), {10, 10}, part)),
              rows_of(host::scaled(host::load(dir.path("tall.pic"), part), {1, 10})));
    EXPECT_THROW(host::load_fitted(dir.path("none.pic"), {10, 10}), host::Error);
}

/// A picture of one colour.
host::Picture plain(int width, int height, std::uint16_t sample) {
    host::Picture picture(TRELLIS_KIND_IMAGE, width, height, 16);
    std::fill_n(reinterpret_cast<std::uint16_t*>(picture.colour()), 3 * picture.pixels(), sample);
    return picture;
}

// What stands for a file: a small picture that is stored, as long as it shows the file and is large enough.
TEST(View, ThumbnailsShowTheFile) {
    const TempDir dir;
    const auto thumbnail = [&](const std::string& name, int size) {
        const host::Picture picture = host::load_thumbnail(dir.path(name), {size, size});
        return std::vector<int>{picture.width(), picture.height(), rows_of(picture)[0]};
    };
    host::save(plain(960, 640, 8192), dir.path("a.cin"));
    EXPECT_EQ(thumbnail("a.cin", 128), (std::vector<int>{96, 64, 128})) << "the catalogue picture";
    EXPECT_EQ(thumbnail("a.cin", 512), (std::vector<int>{512, 341, 128})) << "which is too small";

    // A catalogue picture of another colour than the picture, then one that is dark.
    Bytes bytes = contents(dir.path("a.cin"));
    std::fill_n(bytes.begin() + 2048, 24576, std::uint8_t{200});
    dir.file("other.cin", bytes);
    EXPECT_EQ(thumbnail("other.cin", 96)[2], 200);
    put(bytes, 16, hex("00006001"));  // user data that is not of the size of a catalogue picture
    dir.file("other.cin", bytes);
    EXPECT_EQ(thumbnail("other.cin", 96)[2], 128);
    put(bytes, 16, hex("00006000"));
    std::fill_n(bytes.begin() + 2048, 24576, std::uint8_t{15});
    dir.file("dark.cin", bytes);
    EXPECT_EQ(thumbnail("dark.cin", 96)[2], 128);
    bytes.pop_back();
    dir.file("short.cin", bytes);
    EXPECT_THROW(host::load_thumbnail(dir.path("short.cin"), {96, 96}), host::Error);

    // A preview lies in the middle of nothing, and counts as long as its file is not the older one.
    host::save(plain(400, 100, 16383), dir.path("b.pic"));
    ASSERT_EQ(write_minipic_trellis(dir.path("b.pic").c_str(), host::load(dir.path("other.cin"), {.depth = 8}).colour(),
                                    nullptr, nullptr, 960, 0, 0, 399, 99, 0, TRELLIS_MINIPIC_IMAGE),
              0);
    EXPECT_EQ(thumbnail("b.pic", 128), (std::vector<int>{100, 25, 128}));
    std::filesystem::last_write_time(dir.path("b.pic"),
                                     std::filesystem::last_write_time(dir.path("b.pic.mpc")) + std::chrono::seconds(1));
    EXPECT_EQ(thumbnail("b.pic", 128), (std::vector<int>{128, 32, 255}));
}

TEST(View, ShowsFilmCodesAsAPrintWould) {
    host::Picture codes(TRELLIS_KIND_CUTOUT, 4, 1, 10);
    auto* samples = reinterpret_cast<std::uint16_t*>(codes.colour());
    std::ranges::copy(std::vector<int>{0, 95, 96, 445, 684, 685, 686, 1023, 60'000, 0, 0, 0}, samples);
    host::view_log(codes);
    EXPECT_EQ((std::vector<int>(samples, samples + 9)),
              (std::vector<int>{0, 0, 14, 431, 1019, 1023, 1023, 1023, 1023}));
}

}  // namespace
