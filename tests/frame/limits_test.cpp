// A host's limits on pictures: what is beyond them is refused before anything is stored.

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "trellis/trellis.h"

#include "support/formats.h"
#include "support/support.h"

namespace {

using support::Guarded;

constexpr int width = 40, height = 30;
constexpr std::uint64_t area = width * height;

template <class Sample, class Load>
void expect_limits(const std::string& what, std::uint64_t pixel_bytes, Load load) {
    const struct {
        std::uint64_t pixels, bytes;
        int code;
    } cases[] = {
        {0, 0, 0},
        {area, 0, 0},
        {area - 1, 0, TRELLIS_ALLOCATION_ERROR},
        {0, area * pixel_bytes, 0},
        {0, area * pixel_bytes - 1, TRELLIS_ALLOCATION_ERROR},
        {UINT64_MAX, UINT64_MAX, 0},
    };
    for (const auto& c : cases) {
        set_limits_trellis(c.pixels, c.bytes);
        Guarded<Sample> colour(2, 2, 4), matte(2, 2, 1);  // a corner; the limits are for the whole
        EXPECT_EQ(load(colour, matte), c.code) << what << ": " << c.pixels << " pixels, " << c.bytes << " bytes";
        EXPECT_EQ(colour.written() > 0, c.code == 0) << what;
    }
    set_limits_trellis(0, 0);
}

TEST(Limits, RefuseWhatIsBeyondThem) {
    const support::TempDir dir;
    const std::string name = dir.path("picture");
    std::vector<std::uint16_t> samples(area * 4, 100);
    for (const pic_format* format : {&support::pixar, &support::dpx, &support::cineon, &support::maya}) {
        const bool deep = format->depth_supported_fn(1) == 1;
        ASSERT_EQ(format->save_cut_fn(name.c_str(), samples.data(), width, samples.data(), width, 0, 0, width - 1,
                                      height - 1, 0), 0);
        const auto cut = [&](auto& colour, auto& matte) {
            return format->load_cut_fn(name.c_str(), colour.data(), colour.pitch(), matte.data(), matte.pitch(), 0, 0,
                                       1, 1, -3, -3);
        };
        const auto image = [&](auto& colour, auto&) {
            return format->load_pic_fn(name.c_str(), colour.data(), colour.pitch(), 0, 0, 1, 1, -3, -3);
        };
        if (deep) {
            expect_limits<std::uint16_t>(format->long_name, 8, cut);
            expect_limits<std::uint16_t>(format->long_name, 6, image);
        } else {
            expect_limits<std::uint8_t>(format->long_name, 5, cut);
            expect_limits<std::uint8_t>(format->long_name, 4, image);
        }
        set_limits_trellis(1, 1);
        unsigned int file_width = 0, file_height = 0;
        EXPECT_EQ(format->size_pic_fn(name.c_str(), &file_width, &file_height), 0) << "sizes are told all the same";
        EXPECT_EQ(file_width * file_height, area);
    }
    set_buffer_type_trellis(1);
    expect_limits<std::uint16_t>("16-bit Maya", 8, [&](auto& colour, auto& matte) {
        return support::maya.load_cut_fn(name.c_str(), colour.data(), colour.pitch(), matte.data(), matte.pitch(), 0, 0,
                                         1, 1, -3, -3);
    });
    set_buffer_type_trellis(0);
}

TEST(Limits, HoldForScaledFilmSamplesAndAreTold) {
    const support::TempDir dir;
    const std::string name = dir.path("film");
    std::vector<std::uint16_t> samples(area * 3, 100);
    ASSERT_EQ(support::dpx.save_pic_fn(name.c_str(), samples.data(), width, 0, 0, width - 1, height - 1, 0), 0);
    expect_limits<std::uint16_t>("film samples", 6, [&](auto& colour, auto&) {
        return load_film_samples_trellis(name.c_str(), colour.data(), colour.pitch(), nullptr, 0, 0, 0, 1, 1, -3, -3);
    });
    std::uint64_t pixels = 1, bytes = 1;
    set_limits_trellis(std::uint64_t{5} << 32, 7);
    inq_limits_trellis(&pixels, &bytes);
    set_limits_trellis(0, 0);
    EXPECT_EQ(std::pair(pixels, bytes), std::pair(std::uint64_t{5} << 32, std::uint64_t{7}));
}

}  // namespace
