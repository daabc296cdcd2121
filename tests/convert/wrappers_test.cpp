// Convert wrappers around slots that record how they are called: what arrives there, what comes
// back, and what stays untouched.

#include <gtest/gtest.h>

#include <climits>

#include "trellis/trellis.h"

#include "support/support.h"

namespace {

using support::Guarded;
using u8 = std::uint8_t;
using u16 = std::uint16_t;

struct Record {
    int calls;
    void* rgb;
    int pitch;
    void* alpha;
    std::vector<int> rectangle;
    std::vector<int> last;  // file_x and file_y, or compress
    int buffer_type;
};

Record record;
int slot_result = 0;
bool slot_is_wide = false;  // the depth of the buffers that the slot works on
int channels = 0;           // samples of a pixel behind `rgb`: 1 for masks
std::vector<int> saved;     // what a save slot saw: colour and then matte samples, row by row

// An 8-bit sample of a picture, or a 16-bit one that narrows to it and does not look it.
int sample(int x, int y, int channel, bool wide) {
    const int value = (x * 7 + y * 31 + channel * 59) & 0xFF;
    return wide ? value * 64 + 63 : value;
}

int converted(int mode, int value) { return mode == 1 ? value * 64 + value / 4 : mode == 2 ? value >> 6 : value; }

// Calls `at` with every sample of the recorded rectangle; 8-bit colour has a spare byte.
template <class Sample, class At>
void each(void* pixels, int pitch, int size, At at) {
    const std::vector<int>& r = record.rectangle;
    for (int y = r[1]; y <= r[3]; ++y) {
        for (int x = r[0]; x <= r[2]; ++x) {
            for (int c = size == 4 && sizeof(Sample) == 1 ? 1 : 0, n = 0; c < size; ++c, ++n) {
                at(static_cast<Sample*>(pixels)[(y * pitch + x) * size + c], x - r[0], y - r[1], n);
            }
        }
    }
}

template <class At>
void each_of_slot(void* pixels, int pitch, int size, At at) {
    slot_is_wide ? each<u16>(pixels, pitch, size, at) : each<u8>(pixels, pitch, size, at);
}

int load_cut(const char*, void* rgb, int pitch, void* alpha, int alpha_pitch, int x0, int y0, int x1, int y1,
             int file_x, int file_y) {
    record = {record.calls + 1, rgb, pitch, alpha, {x0, y0, x1, y1}, {file_x, file_y}, inq_buffer_type_trellis()};
    if (slot_result == 0) {
        const auto store = [](int first) {
            return [first](auto& to, int x, int y, int c) {
                to = static_cast<std::remove_reference_t<decltype(to)>>(sample(x, y, first + c, slot_is_wide));
            };
        };
        each_of_slot(rgb, pitch, channels, store(0));
        if (alpha != nullptr) { each_of_slot(alpha, alpha_pitch, 1, store(3)); }
    }
    return slot_result;
}

int load_pic(const char* name, void* rgb, int pitch, int x0, int y0, int x1, int y1, int file_x, int file_y) {
    return load_cut(name, rgb, pitch, nullptr, 0, x0, y0, x1, y1, file_x, file_y);
}

int save_cut(const char*, void* rgb, int pitch, void* alpha, int alpha_pitch, int x0, int y0, int x1, int y1,
             int compress) {
    record = {record.calls + 1, rgb, pitch, alpha, {x0, y0, x1, y1}, {compress}, 0};
    saved.clear();
    const auto take = [](const auto& from, int, int, int) { saved.push_back(from); };
    each_of_slot(rgb, pitch, channels, take);
    if (alpha != nullptr) { each_of_slot(alpha, alpha_pitch, 1, take); }
    return slot_result;
}

int save_pic(const char* name, void* rgb, int pitch, int x0, int y0, int x1, int y1, int compress) {
    return save_cut(name, rgb, pitch, nullptr, 0, x0, y0, x1, y1, compress);
}

int size_100_50(const char*, unsigned int* width, unsigned int* height) {
    *width = 100;
    *height = 50;
    return slot_result;
}

template <class Slot>
trellis_slot_fn any(Slot slot) {
    return reinterpret_cast<trellis_slot_fn>(slot);
}

/// A cutout-information block as a host keeps it.
struct Information {
    unsigned int width = 4, height = 3, int_3 = 91, int_4 = 92, int_5 = 95, int_6 = 96;
    unsigned int outline_size = 97, data_size = 98, int_7 = 99;
    float real[4] = {};
    trellis_default_outline outline = {};

    int load(int mode, int kind, trellis_slot_fn fn, void* cutout, const char* name = "a") {
        return load_cut_fn_convert_trellis(mode, kind, fn, name, &width, &height, &int_3, &int_4, &real[0], &real[1],
                                           &real[2], &real[3], &int_5, &int_6, &outline_size, &outline, &data_size,
                                           cutout, &int_7);
    }
    int size(int mode, int kind, trellis_slot_fn fn) {
        return size_cut_fn_convert_trellis(mode, kind, fn, "a", &width, &height, &int_3, &int_4, &real[0], &real[1],
                                           &real[2], &real[3], &int_6, &outline_size, &data_size, &int_7);
    }
    void expect_defaults(unsigned int bytes) const {
        EXPECT_EQ((std::vector{int_3, int_4, int_5, int_6, outline_size, data_size, int_7}),
                  (std::vector{0U, 0U, 95U, 1U, 40U, bytes, 3U}));
        EXPECT_EQ((std::vector{real[0], real[1], real[2], real[3]}),
                  (std::vector{float(width - 1) / 2, float(height - 1) / 2, 0.5F, 0.5F}));
    }
};

constexpr int x0 = 2, y0 = 1, x1 = 5, y1 = 3;  // 4 × 3 pixels

class Wrappers : public testing::Test {
  protected:
    void SetUp() override {
        record = {};
        slot_result = 0;
    }
    void TearDown() override { set_buffer_type_trellis(0); }

    /// Calls `body` with a mode and the host's depth, as the type of its samples; the buffer type
    /// setting is the host's.
    template <class Body>
    static void every_mode(bool is_load, Body body) {
        for (const auto& [mode, wide] : {std::pair{0, false}, {0, true}, {1, is_load}, {2, !is_load}}) {
            SCOPED_TRACE("mode " + std::to_string(mode));
            slot_is_wide = wide != (mode != 0);
            channels = slot_is_wide ? 3 : 4;
            record = {};
            set_buffer_type_trellis(wide ? 1 : 0);
            wide ? body(mode, u16{}) : body(mode, u8{});
            EXPECT_EQ(inq_buffer_type_trellis(), wide ? 1 : 0);
        }
    }

    /// A host's buffer whose rectangle holds the picture's samples, `first` being that of channel
    /// 0.
    template <class Sample>
    static Guarded<Sample> filled(int size, int first_channel, int mode_of_values, bool wide_values) {
        Guarded<Sample> buffer(8, 5, size);
        for (int y = y0; y <= y1; ++y) {
            for (int x = x0; x <= x1; ++x) {
                for (int c = size == 1 ? 0 : size - 3, n = first_channel; c < size; ++c, ++n) {
                    buffer.at(x, y, c) =
                        static_cast<Sample>(converted(mode_of_values, sample(x - x0, y - y0, n, wide_values)));
                }
            }
        }
        return buffer;
    }
};

TEST_F(Wrappers, LoadsOfColourAndMatte) {
    every_mode(true, [](int mode, auto type) {
        using Sample = decltype(type);
        const int size = sizeof(Sample) == 2 ? 3 : 4;
        Guarded<Sample> rgb(8, 5, size);
        Guarded<Sample> alpha(8, 5, 1);
        for (const bool with_matte : {false, true}) {
            const int code =
                with_matte
                    ? load_rgba_fn_convert_trellis(mode, load_cut, "a", rgb.data(), rgb.pitch(), alpha.data(),
                                                   alpha.pitch(), x0, y0, x1, y1, -7, -8)
                    : load_pic_fn_convert_trellis(mode, load_pic, "a", rgb.data(), rgb.pitch(), x0, y0, x1, y1, -7, -8);
            EXPECT_EQ(code, 0);
            EXPECT_EQ(record.rgb == rgb.data(), mode == 0);
            EXPECT_EQ(record.pitch, mode == 0 ? rgb.pitch() : 4);
            EXPECT_EQ(record.rectangle, mode == 0 ? (std::vector{x0, y0, x1, y1}) : (std::vector{0, 0, 3, 2}));
            EXPECT_EQ(record.last, (std::vector{-7, -8}));
            EXPECT_EQ(record.buffer_type, slot_is_wide ? 1 : 0) << "the slot finds its own depth";
            EXPECT_EQ(rgb, filled<Sample>(size, 0, mode, slot_is_wide));
        }
        EXPECT_EQ(alpha, filled<Sample>(1, 3, mode, slot_is_wide));
        load_rgba_fn_convert_trellis(mode, load_cut, "a", rgb.data(), rgb.pitch(), nullptr, 77, x0, y0, x1, y1, 0, 0);
        EXPECT_EQ(record.alpha, nullptr) << "no matte stays no matte";
    });
}

TEST_F(Wrappers, SavesOfColourAndMatte) {
    every_mode(false, [](int mode, auto type) {
        using Sample = decltype(type);
        const bool wide = sizeof(Sample) == 2;
        auto rgb = filled<Sample>(wide ? 3 : 4, 0, 0, wide);
        auto alpha = filled<Sample>(1, 3, 0, wide);
        const auto rgb_before = rgb;
        const auto alpha_before = alpha;
        EXPECT_EQ(save_rgba_fn_convert_trellis(mode, save_cut, "a", rgb.data(), rgb.pitch(), alpha.data(),
                                               alpha.pitch(), x0, y0, x1, y1, 9),
                  0);
        std::vector<int> expected;
        for (const int first : {0, 3}) {
            for (int i = 0; i < 12 * (first == 0 ? 3 : 1); ++i) {
                const int pixel = first == 0 ? i / 3 : i;
                expected.push_back(converted(mode, sample(pixel % 4, pixel / 4, first == 0 ? i % 3 : 3, wide)));
            }
        }
        EXPECT_EQ(saved, expected);
        EXPECT_EQ(record.last, std::vector{9});
        EXPECT_EQ(save_pic_fn_convert_trellis(mode, save_pic, "a", rgb.data(), rgb.pitch(), x0, y0, x1, y1, 0), 0);
        expected.resize(36);
        EXPECT_EQ(saved, expected);
        EXPECT_EQ(rgb, rgb_before);
        EXPECT_EQ(alpha, alpha_before);
    });
}

// RGBA in one buffer: four samples a pixel on both sides, at either depth.
TEST_F(Wrappers, RgbaInOne) {
    slot_is_wide = true;
    channels = 4;
    u8 rgba[48] = {};
    EXPECT_EQ(load_rgba_inone_fn_convert_trellis(2, load_pic, "a", rgba, 4, 0, 0, 3, 2, 0, 0), 0);
    EXPECT_EQ(save_rgba_inone_fn_convert_trellis(1, save_pic, "a", rgba, 4, 0, 0, 3, 2, 0), 0);
    for (int i = 0; i < 48; ++i) {
        EXPECT_EQ(rgba[i], sample(i / 4 % 4, i / 16, i % 4, false));
        EXPECT_EQ(saved[static_cast<std::size_t>(i)], converted(1, rgba[i]));
    }
}

TEST_F(Wrappers, MasksFromAndToEverySlot) {
    for (const int kind : {1, 2, 3}) {
        SCOPED_TRACE("kind " + std::to_string(kind));
        every_mode(true, [kind](int mode, auto type) {
            channels = kind == 3 ? 1 : channels;
            decltype(type) mask[12] = {};
            EXPECT_EQ(load_mask_fn_convert_trellis(mode, kind, kind == 2 ? any(load_cut) : any(load_pic), "a", mask, 4,
                                                   0, 0, 3, 2, -1, -2),
                      0);
            EXPECT_EQ(record.last, (std::vector{-1, -2}));
            for (int i = 0; i < 12; ++i) {
                const auto value = [i](int c) { return sample(i % 4, i / 4, c, slot_is_wide); };
                const int grey = static_cast<int>(0.11 * value(0) + 0.59 * value(1) + 0.3 * value(2));
                EXPECT_EQ(mask[i], converted(mode, kind == 1 ? grey : value(kind == 2 ? 3 : 0)));
            }
        });
        every_mode(false, [kind](int mode, auto type) {
            channels = kind == 3 ? 1 : channels;
            decltype(type) mask[12] = {0, 200};
            EXPECT_EQ(save_mask_fn_convert_trellis(mode, kind, kind == 2 ? any(save_cut) : any(save_pic), "a", mask, 4,
                                                   0, 0, 3, 2, 0),
                      0);
            const int second = converted(mode, 200);
            std::vector<int> expected(kind == 3 ? 12 : kind == 1 ? 36 : 48);
            for (const int i : kind == 3 ? std::vector{1} : kind == 1 ? std::vector{3, 4, 5} : std::vector{37}) {
                expected[static_cast<std::size_t>(i)] = second;
            }
            EXPECT_EQ(saved, expected);
            EXPECT_EQ(record.last, std::vector{kind == 3 ? 0 : 1}) << "kinds 1 and 2: compressed";
            EXPECT_EQ(mask[1], 200);
        });
    }
}

TEST_F(Wrappers, CutoutsFromAndToPictures) {
    for (const int kind : {1, 2}) {
        SCOPED_TRACE("kind " + std::to_string(kind));
        every_mode(true, [kind](int mode, auto type) {
            decltype(type) cutout[48] = {};
            Information info;
            EXPECT_EQ(info.load(mode, kind, kind == 1 ? any(load_pic) : any(load_cut), cutout), 0);
            const int opaque = slot_is_wide ? 16383 : 255;
            for (int i = 0; i < 48; ++i) {
                const int x = i / 4 % 4;
                const int value = i % 4 != 0  ? sample(x, i / 16, i % 4 - 1, slot_is_wide)
                                  : kind == 1 ? opaque
                                              : sample(x, i / 16, 3, slot_is_wide);
                EXPECT_EQ(cutout[i], converted(mode, value)) << i;
            }
            info.expect_defaults(slot_is_wide ? 96 : 48);
            EXPECT_EQ(info.outline.points[2].x, 3.0F);
        });
        every_mode(false, [kind](int mode, auto type) {
            decltype(type) cutout[48];
            std::vector<int> expected;
            for (int i = 0; i < 48; ++i) {
                cutout[i] = static_cast<decltype(type)>(i * 5);
                if (i % 4 != 0) { expected.push_back(converted(mode, i * 5)); }
            }
            for (int i = 0; i < 48 && kind == 2; i += 4) { expected.push_back(converted(mode, i * 5)); }
            EXPECT_EQ(save_cut_fn_convert_trellis(mode, kind, kind == 1 ? any(save_pic) : any(save_cut), "a", 4, 3, 0,
                                                  0, 0, 0, 0, nullptr, 0, cutout, 0, 0, 0, 0, 0),
                      0);
            EXPECT_EQ(saved, expected);
            EXPECT_EQ(record.last, std::vector{kind == 1 ? 1 : 0}) << "compress";
            for (int i = 0; i < 48; ++i) { EXPECT_EQ(cutout[i], i * 5) << "the host's buffer stays as it is"; }
        });
    }
}

// A native slot gets everything as it is, the floats in the places of floats; int_5 becomes 0.
TEST_F(Wrappers, NativeCutoutSlots) {
    static std::vector<double> got;
    const trellis_save_cutout_fn native = [](const char*, int width, int height, int int_3, int int_4, int int_5,
                                             int int_6, int outline_size, void*, int data_size, void*, int int_7,
                                             float a, float b, float c, float d) {
        for (const int value : {width, height, int_3, int_4, int_5, int_6, outline_size, data_size, int_7}) {
            got.push_back(value);
        }
        got.insert(got.end(), {a, b, c, d});
        return 17;
    };
    u8 cutout[48] = {};
    EXPECT_EQ(save_cut_fn_convert_trellis(0, 0, any(native), "a", 4, 3, 13, 14, 15, 16, 17, cutout, 18, cutout, 19,
                                          1.5F, 2.5F, 3.5F, 4.5F),
              17);
    EXPECT_EQ(got, (std::vector<double>{4, 3, 13, 14, 0, 16, 17, 18, 19, 1.5, 2.5, 3.5, 4.5}));

    const trellis_load_cutout_fn native_load = [](const char*, unsigned int*, unsigned int*, unsigned int* int_3,
                                                  unsigned int*, float* real_1, float*, float*, float*,
                                                  unsigned int* int_5, unsigned int*, unsigned int*, void*,
                                                  unsigned int* data_size, void* pixels, unsigned int* int_7) {
        *int_3 = 3;
        *real_1 = 1.5F;
        *int_5 = 5;
        *data_size = 13;
        *int_7 = 7;
        static_cast<u8*>(pixels)[47] = 255;
        return 0;
    };
    Information info;
    u16 wide[48] = {};
    EXPECT_EQ(info.load(1, 0, any(native_load), wide), 0);
    EXPECT_EQ((std::vector{info.int_3, info.int_5, info.data_size, info.int_7}), (std::vector{3U, 5U, 13U, 7U}));
    EXPECT_EQ(info.real[0], 1.5F);
    EXPECT_EQ(wide[47] - wide[46], 16383);
}

TEST_F(Wrappers, Sizes) {
    const struct {
        int mode, kind, buffer_type, code;
        unsigned int data_size;
    } cases[] = {{0, 1, 0, 0, 20000}, {0, 2, 1, 0, 40000}, {1, 1, 0, 0, 40000}, {2, 1, 0, 0, 20004},
                 {0, 3, 0, 14, 98},   {1, 3, 0, 14, 196},  {2, 3, 0, 14, 53},   {9, 1, 0, 0, 20000}};
    for (const auto& c : cases) {
        set_buffer_type_trellis(c.buffer_type);
        Information info;
        EXPECT_EQ(info.size(c.mode, c.kind, any(size_100_50)), c.code);
        EXPECT_EQ(info.data_size, c.data_size) << c.mode << " " << c.kind;
        if (c.code == 0) { info.expect_defaults(c.data_size); }
    }
    unsigned int width = 0;
    unsigned int height = 0;
    EXPECT_EQ(size_mask_fn_convert_trellis(7, 3, size_100_50, "a", &width, &height), 0);
    EXPECT_EQ(width * 100 + height, 10050U);
    EXPECT_EQ(size_mask_fn_convert_trellis(0, 0, size_100_50, "a", &width, &height), 14);
    const trellis_load_cat_fn catalogue = [](const char*, void*, int capacity, unsigned int*, unsigned int*,
                                             unsigned int*) { return capacity; };
    EXPECT_EQ(load_cat_fn_convert_trellis(9, catalogue, "a", nullptr, 64, &width, &width, &width), 64);
}

TEST_F(Wrappers, RefusalsAndFailures) {
    u16 buffer[256] = {};
    Information info;
    slot_is_wide = false;
    channels = 4;
    const auto load_pic_in = [&](int mode, int x, int right) {
        return load_pic_fn_convert_trellis(mode, load_pic, "a", buffer, 4, x, x, right, right, 0, 0);
    };
    const auto all = [&](int mode, int cut_kind, int mask_kind) {
        return std::vector{
            load_pic_in(mode, 0, 3),
            save_pic_fn_convert_trellis(mode, save_pic, "a", buffer, 4, 0, 0, 3, 2, 0),
            load_rgba_fn_convert_trellis(mode, load_cut, "a", buffer, 4, buffer, 4, 0, 0, 3, 2, 0, 0),
            save_rgba_fn_convert_trellis(mode, save_cut, "a", buffer, 4, buffer, 4, 0, 0, 3, 2, 0),
            load_rgba_inone_fn_convert_trellis(mode, load_pic, "a", buffer, 4, 0, 0, 3, 2, 0, 0),
            save_rgba_inone_fn_convert_trellis(mode, save_pic, "a", buffer, 4, 0, 0, 3, 2, 0),
            info.load(mode, cut_kind, any(load_pic), buffer),
            save_cut_fn_convert_trellis(mode, cut_kind, any(save_pic), "a", 4, 3, 0, 0, 0, 0, 0, nullptr, 0, buffer, 0,
                                        0, 0, 0, 0),
            load_mask_fn_convert_trellis(mode, mask_kind, any(load_pic), "a", buffer, 4, 0, 0, 3, 2, 0, 0),
            save_mask_fn_convert_trellis(mode, mask_kind, any(save_pic), "a", buffer, 4, 0, 0, 3, 2, 0)};
    };
    EXPECT_EQ(all(-1, 1, 1), std::vector(10, 14));
    EXPECT_EQ(all(3, 1, 1), std::vector(10, 14));
    EXPECT_EQ(record.calls, 0);
    EXPECT_EQ(load_pic_fn_convert_trellis(0, nullptr, "a", buffer, 4, 0, 0, 3, 2, 0, 0), 14) << "an empty slot";
    const std::vector kinds = all(0, 3, 0);
    EXPECT_EQ(std::vector(kinds.begin() + 6, kinds.end()), std::vector(4, 14));

    // No memory, or no way to ask for so much: the slot is not called.
    record = {};
    EXPECT_EQ(support::codes_without_memory([&] {
                  return load_rgba_fn_convert_trellis(1, load_cut, "a", buffer, 4, buffer + 128, 4, 0, 0, 3, 2, 0, 0);
              }),
              (std::vector{3, 3, 0}));
    EXPECT_EQ(record.calls, 1);
    EXPECT_EQ(load_pic_in(1, INT_MIN, INT_MAX), 3);

    // The slot's own answer comes back, also where there are no pixels.
    slot_result = 42;
    EXPECT_EQ(load_pic_in(1, 0, 2), 42);
    EXPECT_EQ(load_pic_in(1, 5, 4), 42);
    info.width = 0;
    EXPECT_EQ(info.load(2, 1, any(load_pic), buffer), 42);
    EXPECT_EQ(
        save_cut_fn_convert_trellis(1, 2, any(save_cut), "a", -3, 4, 0, 0, 0, 0, 0, nullptr, 0, buffer, 0, 0, 0, 0, 0),
        42);
    EXPECT_EQ(record.calls, 5);
}

// The real thing: 16-bit buffers out to a Pixar file, and back into every 8-bit shape.
TEST_F(Wrappers, APixarCutoutBetweenDepthsAndShapes) {
    const support::TempDir dir;
    const std::string path = dir.path("a.pic");
    const char* name = path.c_str();
    pic_format pixar{};
    init_pixar_pic_(&pixar);
    u16 colour[18], matte[6], wide[18] = {}, wide_matte[6] = {};
    u8 cutout[24] = {}, rgba[24] = {}, mask[6] = {}, grey[6] = {};
    for (int i = 0; i < 18; ++i) {
        colour[i] = static_cast<u16>(i * 900 + 63);
        matte[i / 3] = static_cast<u16>(i / 3 * 3000);
    }
    set_buffer_type_trellis(1);
    EXPECT_EQ(save_rgba_fn_convert_trellis(2, pixar.save_cut_fn, name, colour, 2, matte, 2, 0, 0, 1, 2, 1), 0);
    EXPECT_EQ(load_rgba_fn_convert_trellis(1, pixar.load_cut_fn, name, wide, 2, wide_matte, 2, 0, 0, 1, 2, 0, 0), 0);
    set_buffer_type_trellis(0);
    Information info;
    info.width = 2;
    EXPECT_EQ(info.load(0, 2, any(pixar.load_cut_fn), cutout, name), 0);
    EXPECT_EQ(load_rgba_inone_fn_convert_trellis(0, pixar.load_pic_fn, name, rgba, 2, 0, 0, 1, 2, 0, 0), 0);
    EXPECT_EQ(load_mask_fn_convert_trellis(0, 2, any(pixar.load_cut_fn), name, mask, 2, 0, 0, 1, 2, 0, 0), 0);
    EXPECT_EQ(load_mask_fn_convert_trellis(0, 1, any(pixar.load_pic_fn), name, grey, 2, 0, 0, 1, 2, 0, 0), 0);
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(cutout[4 * i], matte[i] >> 6);
        EXPECT_EQ(mask[i], matte[i] >> 6);
        EXPECT_EQ(wide_matte[i], converted(1, matte[i] >> 6));
        for (int c = 0; c < 3; ++c) {
            const int narrow = (colour[3 * i + c] >> 6) & 0xFF;
            EXPECT_EQ(cutout[4 * i + 1 + c], narrow);
            EXPECT_EQ(rgba[4 * i + 1 + c], narrow);
            EXPECT_EQ(wide[3 * i + c], converted(1, narrow));
        }
        const u8* pixel = cutout + 4 * i;
        EXPECT_EQ(grey[i], static_cast<int>(0.11 * pixel[1] + 0.59 * pixel[2] + 0.3 * pixel[3]));
    }
}

}  // namespace
