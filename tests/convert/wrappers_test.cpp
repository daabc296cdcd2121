// Convert wrappers around slots that record how they are called: what arrives there, what comes
// back, and what stays untouched.

#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "trellis/trellis.h"

#include "support/support.h"

namespace {

using support::Guarded;
using u8 = std::uint8_t;
using u16 = std::uint16_t;

/// The last call of a slot.
struct Record {
    int calls;
    std::string name;
    void* rgb;
    int pitch;
    void* alpha;
    int alpha_pitch;
    int rectangle[4];
    int last[2];  // file_x and file_y, or compress
    int buffer_type;
};

Record record;
int slot_result = 0;
bool slot_is_wide = false;  // the depth of the buffers that the slot works on
int colour_channels = 0;    // samples of a pixel behind `rgb`: 1 for masks
std::vector<int> saved;     // what a save slot saw: colour and then matte samples, row by row

// What a load slot stores: an 8-bit value, or a 16-bit one that narrows to it and does not look it.
int stored(int x, int y, int channel) {
    const int value = (x * 7 + y * 31 + channel * 59) & 0xFF;
    return slot_is_wide ? value * 64 + 63 : value;
}

template <class Sample>
void fill(void* pixels, int pitch, int channels, int first, int channel_of_matte) {
    for (int y = record.rectangle[1]; y <= record.rectangle[3]; ++y) {
        for (int x = record.rectangle[0]; x <= record.rectangle[2]; ++x) {
            for (int c = first; c < channels; ++c) {
                static_cast<Sample*>(pixels)[(y * pitch + x) * channels + c] = static_cast<Sample>(
                    stored(x - record.rectangle[0], y - record.rectangle[1],
                           channel_of_matte >= 0 ? channel_of_matte : c - first));
            }
        }
    }
}

template <class Sample>
void take(const void* pixels, int pitch, int channels, int first) {
    for (int y = record.rectangle[1]; y <= record.rectangle[3]; ++y) {
        for (int x = record.rectangle[0]; x <= record.rectangle[2]; ++x) {
            for (int c = first; c < channels; ++c) {
                saved.push_back(static_cast<const Sample*>(pixels)[(y * pitch + x) * channels + c]);
            }
        }
    }
}

// 8-bit colour has a spare byte that no slot touches.
int first_channel() {
    return !slot_is_wide && colour_channels == 4 ? 1 : 0;
}

void note(const char* name, void* rgb, int pitch, void* alpha, int alpha_pitch, int x0, int y0,
          int x1, int y1, int last_0, int last_1) {
    record = {record.calls + 1,
              name,
              rgb,
              pitch,
              alpha,
              alpha_pitch,
              {x0, y0, x1, y1},
              {last_0, last_1},
              inq_buffer_type_trellis()};
}

int load_cut(const char* name, void* rgb, int pitch, void* alpha, int alpha_pitch, int x0, int y0,
             int x1, int y1, int file_x, int file_y) {
    note(name, rgb, pitch, alpha, alpha_pitch, x0, y0, x1, y1, file_x, file_y);
    if (slot_result == 0) {
        slot_is_wide ? fill<u16>(rgb, pitch, colour_channels, first_channel(), -1)
                     : fill<u8>(rgb, pitch, colour_channels, first_channel(), -1);
        if (alpha != nullptr) {
            slot_is_wide ? fill<u16>(alpha, alpha_pitch, 1, 0, 3)
                         : fill<u8>(alpha, alpha_pitch, 1, 0, 3);
        }
    }
    return slot_result;
}

int load_pic(const char* name, void* rgb, int pitch, int x0, int y0, int x1, int y1, int file_x,
             int file_y) {
    return load_cut(name, rgb, pitch, nullptr, 0, x0, y0, x1, y1, file_x, file_y);
}

int save_cut(const char* name, void* rgb, int pitch, void* alpha, int alpha_pitch, int x0, int y0,
             int x1, int y1, int compress) {
    note(name, rgb, pitch, alpha, alpha_pitch, x0, y0, x1, y1, compress, 0);
    saved.clear();
    slot_is_wide ? take<u16>(rgb, pitch, colour_channels, first_channel())
                 : take<u8>(rgb, pitch, colour_channels, first_channel());
    if (alpha != nullptr) {
        slot_is_wide ? take<u16>(alpha, alpha_pitch, 1, 0) : take<u8>(alpha, alpha_pitch, 1, 0);
    }
    return slot_result;
}

int save_pic(const char* name, void* rgb, int pitch, int x0, int y0, int x1, int y1, int compress) {
    return save_cut(name, rgb, pitch, nullptr, 0, x0, y0, x1, y1, compress);
}

int size_100_50(const char* /*name*/, unsigned int* width, unsigned int* height) {
    ++record.calls;
    *width = 100;
    *height = 50;
    return slot_result;
}

template <class Slot>
trellis_slot_fn generic(Slot slot) {
    return reinterpret_cast<trellis_slot_fn>(slot);
}

int to_host(int mode, int value) {
    return mode == 1 ? value * 64 + value / 4 : mode == 2 ? value >> 6 : value;
}

class Wrappers : public testing::Test {
  protected:
    void SetUp() override {
        record = {};
        slot_result = 0;
        saved.clear();
    }
    void TearDown() override { set_buffer_type_trellis(0); }

    /// Sets the depths of a mode; the buffer type setting is the host's.
    static bool host_is_wide(int mode, bool is_load, bool wide_in_mode_0) {
        const bool wide = mode == 0 ? wide_in_mode_0 : (mode == 1) == is_load;
        slot_is_wide = mode == 0 ? wide : !wide;
        set_buffer_type_trellis(wide ? 1 : 0);
        return wide;
    }

    static void expect_call(const void* host, int mode, int pitch, std::initializer_list<int> at) {
        EXPECT_EQ(record.calls, 1);
        EXPECT_EQ(record.name, "a.pic");
        EXPECT_EQ(record.rgb == host, mode == 0);
        EXPECT_EQ(record.pitch, mode == 0 ? pitch : 4);
        const std::vector<int> expected =
            mode == 0 ? std::vector<int>(at) : std::vector{0, 0, 3, 2};
        EXPECT_EQ(std::vector<int>(record.rectangle, record.rectangle + 4), expected);
    }
};

constexpr int x0 = 2, y0 = 1, x1 = 5, y1 = 3;

template <class Sample>
void load_rgba(int mode, bool with_matte) {
    SCOPED_TRACE("mode " + std::to_string(mode));
    const bool wide = sizeof(Sample) == 2;
    const int host_channels = wide ? 3 : 4;
    colour_channels = slot_is_wide ? 3 : 4;
    Guarded<Sample> rgb(8, 5, host_channels);
    Guarded<Sample> alpha(8, 5, 1, 5);
    auto expected_rgb = rgb;
    auto expected_alpha = alpha;
    record = {};
    const int code = with_matte ? load_rgba_fn_convert_trellis(
                                      mode, load_cut, "a.pic", rgb.data(), rgb.pitch(),
                                      alpha.data(), alpha.pitch(), x0, y0, x1, y1, -7, -8)
                                : load_pic_fn_convert_trellis(mode, load_pic, "a.pic", rgb.data(),
                                                              rgb.pitch(), x0, y0, x1, y1, -7, -8);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(record.last[0], -7);
    EXPECT_EQ(record.last[1], -8);
    EXPECT_EQ(record.buffer_type, slot_is_wide ? 1 : 0) << "the slot finds its own depth";
    EXPECT_EQ(inq_buffer_type_trellis(), wide ? 1 : 0) << "and the host gets its own back";
    for (int y = y0; y <= y1; ++y) {
        for (int x = x0; x <= x1; ++x) {
            const int first = host_channels - 3;
            for (int c = first; c < host_channels; ++c) {
                expected_rgb.at(x, y, c) =
                    static_cast<Sample>(to_host(mode, stored(x - x0, y - y0, c - first)));
            }
            if (with_matte) {
                expected_alpha.at(x, y) =
                    static_cast<Sample>(to_host(mode, stored(x - x0, y - y0, 3)));
            }
        }
    }
    EXPECT_EQ(rgb, expected_rgb);
    EXPECT_EQ(alpha, expected_alpha);
}

TEST_F(Wrappers, LoadsOfEveryMode) {
    for (const bool with_matte : {false, true}) {
        for (const int mode : {0, 1, 2}) {
            if (host_is_wide(mode, true, false)) {
                load_rgba<u16>(mode, with_matte);
            } else {
                load_rgba<u8>(mode, with_matte);
            }
        }
        host_is_wide(0, true, true);
        load_rgba<u16>(0, with_matte);
    }
}

template <class Host>
void save_rgba(int mode, bool with_matte) {
    SCOPED_TRACE("mode " + std::to_string(mode));
    const bool wide = sizeof(Host) == 2;
    const int host_channels = wide ? 3 : 4;
    colour_channels = slot_is_wide ? 3 : 4;
    Guarded<Host> rgb(8, 5, host_channels);
    Guarded<Host> alpha(8, 5, 1, 5);
    std::vector<int> expected;
    const auto sample = [&](int x, int y, int c) {
        const int value = (x * 7 + y * 31 + c * 59) & 0xFF;
        return wide ? value * 64 + 63 : value;
    };
    const auto converted = [&](int value) {
        return mode == 1 ? value * 64 + value / 4 : mode == 2 ? value >> 6 : value;
    };
    for (int y = y0; y <= y1; ++y) {
        for (int x = x0; x <= x1; ++x) {
            for (int c = 0; c < 3; ++c) {
                rgb.at(x, y, host_channels - 3 + c) = static_cast<Host>(sample(x, y, c));
                expected.push_back(converted(sample(x, y, c)));
            }
        }
    }
    for (int y = y0; y <= y1; ++y) {
        for (int x = x0; x <= x1; ++x) {
            alpha.at(x, y) = static_cast<Host>(sample(x, y, 3));
            if (with_matte) {
                expected.push_back(converted(sample(x, y, 3)));
            }
        }
    }
    const auto rgb_before = rgb;
    const auto alpha_before = alpha;
    record = {};
    const int code =
        with_matte ? save_rgba_fn_convert_trellis(mode, save_cut, "a.pic", rgb.data(), rgb.pitch(),
                                                  alpha.data(), alpha.pitch(), x0, y0, x1, y1, 9)
                   : save_pic_fn_convert_trellis(mode, save_pic, "a.pic", rgb.data(), rgb.pitch(),
                                                 x0, y0, x1, y1, 9);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(record.last[0], 9);
    EXPECT_EQ(saved, expected);
    EXPECT_EQ(rgb, rgb_before);
    EXPECT_EQ(alpha, alpha_before);
}

TEST_F(Wrappers, SavesOfEveryMode) {
    for (const bool with_matte : {false, true}) {
        for (const int mode : {0, 1, 2}) {
            if (host_is_wide(mode, false, false)) {
                save_rgba<u16>(mode, with_matte);
            } else {
                save_rgba<u8>(mode, with_matte);
            }
        }
    }
}

TEST_F(Wrappers, WhatArrivesAtTheSlot) {
    Guarded<u16> rgb(8, 5, 4);
    Guarded<u16> alpha(8, 5, 1);
    for (const int mode : {0, 1}) {
        host_is_wide(mode, true, true);
        colour_channels = slot_is_wide ? 3 : 4;
        record = {};
        load_pic_fn_convert_trellis(mode, load_pic, "a.pic", rgb.data(), rgb.pitch(), x0, y0, x1,
                                    y1, 0, 0);
        expect_call(rgb.data(), mode, rgb.pitch(), {x0, y0, x1, y1});
        record = {};
        load_rgba_fn_convert_trellis(mode, load_cut, "a.pic", rgb.data(), rgb.pitch(), nullptr, 77,
                                     x0, y0, x1, y1, 0, 0);
        expect_call(rgb.data(), mode, rgb.pitch(), {x0, y0, x1, y1});
        EXPECT_EQ(record.alpha, nullptr) << "no matte stays no matte";
    }
}

// RGBA in one buffer: all four samples of a pixel are the file's, on both sides.
TEST_F(Wrappers, RgbaInOne) {
    slot_is_wide = true;
    colour_channels = 4;
    set_buffer_type_trellis(0);
    Guarded<u8> rgba(8, 5, 4);
    auto expected = rgba;
    for (int y = y0; y <= y1; ++y) {
        for (int x = x0; x <= x1; ++x) {
            for (int c = 0; c < 4; ++c) {
                expected.at(x, y, c) = static_cast<u8>(stored(x - x0, y - y0, c) >> 6);
            }
        }
    }
    EXPECT_EQ(load_rgba_inone_fn_convert_trellis(2, load_pic, "a.pic", rgba.data(), rgba.pitch(),
                                                 x0, y0, x1, y1, 0, 0),
              0);
    EXPECT_EQ(rgba, expected);
    EXPECT_EQ(save_rgba_inone_fn_convert_trellis(1, save_pic, "a.pic", rgba.data(), rgba.pitch(),
                                                 x0, y0, x1, y1, 0),
              0);
    ASSERT_EQ(saved.size(), 4U * 3 * 4);
    EXPECT_EQ(saved[5], expected.at(x0 + 1, y0, 1) * 64 + expected.at(x0 + 1, y0, 1) / 4);
}

TEST_F(Wrappers, MasksFromAndToEverySlot) {
    for (const int mode : {0, 1, 2}) {
        for (const int kind : {1, 2, 3}) {
            SCOPED_TRACE("mode " + std::to_string(mode) + " kind " + std::to_string(kind));
            // Load: packed, as mode 0 asks of kinds 1 and 2.
            const bool wide = host_is_wide(mode, true, false);
            colour_channels = kind == 3 ? 1 : slot_is_wide ? 3 : 4;
            Guarded<u8> narrow_mask(4, 3, 1, 0);
            Guarded<u16> wide_mask(4, 3, 1, 0);
            void* mask = wide ? static_cast<void*>(wide_mask.data()) : narrow_mask.data();
            record = {};
            const trellis_slot_fn load = kind == 2 ? generic(load_cut) : generic(load_pic);
            EXPECT_EQ(load_mask_fn_convert_trellis(mode, kind, load, "a.pic", mask, 4, 0, 0, 3, 2,
                                                   -1, -2),
                      0);
            EXPECT_EQ(record.pitch, 4);
            EXPECT_EQ(record.last[1], -2);
            for (int y = 0; y < 3; ++y) {
                for (int x = 0; x < 4; ++x) {
                    int value = stored(x, y, kind == 2 ? 3 : 0);
                    if (kind == 1) {
                        value = static_cast<int>(0.11 * stored(x, y, 0) + 0.59 * stored(x, y, 1) +
                                                 0.3 * stored(x, y, 2));
                    }
                    EXPECT_EQ(wide ? wide_mask.at(x, y) : narrow_mask.at(x, y),
                              to_host(mode, value));
                }
            }
            EXPECT_EQ(wide_mask.written() + narrow_mask.written(), 12);

            // Save what was loaded.
            const bool wide_save = host_is_wide(mode, false, false);
            colour_channels = kind == 3 ? 1 : slot_is_wide ? 3 : 4;
            Guarded<u8> bytes(4, 3, 1, 0);
            Guarded<u16> words(4, 3, 1, 0);
            bytes.at(1, 0) = 200;
            words.at(1, 0) = 12800;
            const auto bytes_before = bytes;
            void* source = wide_save ? static_cast<void*>(words.data()) : bytes.data();
            const trellis_slot_fn save = kind == 2 ? generic(save_cut) : generic(save_pic);
            record = {};
            EXPECT_EQ(
                save_mask_fn_convert_trellis(mode, kind, save, "a.pic", source, 4, 0, 0, 3, 2, 0),
                0);
            EXPECT_EQ(record.last[0], kind == 3 ? 0 : 1) << "kinds 1 and 2 are always compressed";
            const int second = mode == 1 ? 200 * 64 + 50 : 200;
            if (kind == 3) {
                EXPECT_EQ(saved[1], second);
            } else if (kind == 1) {
                EXPECT_EQ(std::vector(saved.begin() + 3, saved.begin() + 6),
                          (std::vector{second, second, second}));
            } else {
                EXPECT_EQ(std::vector(saved.begin(), saved.begin() + 36), std::vector(36, 0));
                EXPECT_EQ(saved[37], second);
            }
            EXPECT_EQ(bytes, bytes_before);
        }
    }
}

/// A cutout-information block as a host keeps it.
struct Information {
    unsigned int width = 4, height = 3, int_3 = 91, int_4 = 92, int_5 = 95, int_6 = 96;
    unsigned int outline_size = 97, data_size = 98, int_7 = 99;
    float real[4] = {};
    trellis_default_outline outline = {};

    int load(int mode, int kind, trellis_slot_fn fn, void* cutout) {
        return load_cut_fn_convert_trellis(mode, kind, fn, "a.pic", &width, &height, &int_3, &int_4,
                                           &real[0], &real[1], &real[2], &real[3], &int_5, &int_6,
                                           &outline_size, &outline, &data_size, cutout, &int_7);
    }
    int size(int mode, int kind, trellis_slot_fn fn) {
        return size_cut_fn_convert_trellis(mode, kind, fn, "a.pic", &width, &height, &int_3, &int_4,
                                           &real[0], &real[1], &real[2], &real[3], &int_6,
                                           &outline_size, &data_size, &int_7);
    }
    void expect_defaults(unsigned int bytes) const {
        EXPECT_EQ(int_3 + int_4, 0U);
        EXPECT_EQ(real[0], static_cast<float>(width - 1) * 0.5F);
        EXPECT_EQ(real[1], static_cast<float>(height - 1) * 0.5F);
        EXPECT_EQ(real[2] + real[3], 1.0F);
        EXPECT_EQ(int_5, 95U) << "passed through, never touched";
        EXPECT_EQ(int_6, 1U);
        EXPECT_EQ(outline_size, 40U);
        EXPECT_EQ(data_size, bytes);
        EXPECT_EQ(int_7, 3U);
    }
};

template <class Host>
void load_cutout(int mode, int kind) {
    SCOPED_TRACE("mode " + std::to_string(mode) + " kind " + std::to_string(kind));
    colour_channels = slot_is_wide ? 3 : 4;
    Guarded<Host> cutout(4, 3, 4, 0);
    auto expected = cutout;
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 4; ++x) {
            const int opaque = slot_is_wide ? 16383 : 255;
            expected.at(x, y, 0) =
                static_cast<Host>(to_host(mode, kind == 1 ? opaque : stored(x, y, 3)));
            for (int c = 0; c < 3; ++c) {
                expected.at(x, y, 1 + c) = static_cast<Host>(to_host(mode, stored(x, y, c)));
            }
        }
    }
    Information info;
    record = {};
    EXPECT_EQ(
        info.load(mode, kind, kind == 1 ? generic(load_pic) : generic(load_cut), cutout.data()), 0);
    EXPECT_EQ(record.calls, 1);
    EXPECT_EQ(cutout, expected);
    info.expect_defaults(slot_is_wide ? 96 : 48);
    EXPECT_EQ(info.outline.points[2].x, 3.0F);
}

TEST_F(Wrappers, CutoutsFromPicturesAndMattes) {
    for (const int kind : {1, 2}) {
        for (const int mode : {0, 1, 2}) {
            if (host_is_wide(mode, true, false)) {
                load_cutout<u16>(mode, kind);
            } else {
                load_cutout<u8>(mode, kind);
            }
        }
        host_is_wide(0, true, true);
        load_cutout<u16>(0, kind);
    }
}

TEST_F(Wrappers, CutoutsToPicturesAndMattes) {
    for (const int mode : {0, 1, 2}) {
        for (const int kind : {1, 2}) {
            SCOPED_TRACE("mode " + std::to_string(mode) + " kind " + std::to_string(kind));
            const bool wide = host_is_wide(mode, false, false);
            colour_channels = slot_is_wide ? 3 : 4;
            Guarded<u8> bytes(4, 3, 4, 0);
            Guarded<u16> words(4, 3, 4, 0);
            for (int i = 0; i < 48; ++i) {
                bytes.data()[i] = static_cast<u8>(i * 5);
                words.data()[i] = static_cast<u16>(i * 5 * 64 + 63);
            }
            const auto bytes_before = bytes;
            const auto words_before = words;
            void* cutout = wide ? static_cast<void*>(words.data()) : bytes.data();
            record = {};
            EXPECT_EQ(save_cut_fn_convert_trellis(
                          mode, kind, kind == 1 ? generic(save_pic) : generic(save_cut), "a.pic", 4,
                          3, 0, 0, 0, 0, 0, nullptr, 0, cutout, 0, 0, 0, 0, 0),
                      0);
            EXPECT_EQ(record.last[0], kind == 1 ? 1 : 0) << "compress";
            std::vector<int> expected;
            const auto sample = [&](int i) { return mode == 1 ? i * 5 * 64 + i * 5 / 4 : i * 5; };
            for (int i = 0; i < 48; ++i) {
                if (i % 4 != 0) {
                    expected.push_back(sample(i));
                }
            }
            for (int i = 0; i < 48 && kind == 2; i += 4) {
                expected.push_back(sample(i));
            }
            EXPECT_EQ(saved, expected);
            EXPECT_EQ(bytes, bytes_before);
            EXPECT_EQ(words, words_before);
        }
    }
}

// A native slot gets everything as it is, the floats in the places of floats.
TEST_F(Wrappers, NativeCutoutSlots) {
    slot_is_wide = false;
    static std::vector<float> reals;
    static std::vector<int> integers;
    const auto native_save = [](const char*, int width, int height, int int_3, int int_4, int int_5,
                                int int_6, int outline_size, void* outline, int data_size, void*,
                                int int_7, float a, float b, float c, float d) {
        reals = {a, b, c, d};
        integers = {width,     height, int_3,        int_4,
                    int_5,     int_6,  outline_size, outline != nullptr ? 1 : 0,
                    data_size, int_7};
        return 17;
    };
    u8 cutout[48] = {};
    EXPECT_EQ(save_cut_fn_convert_trellis(
                  0, 0, generic(static_cast<trellis_save_cutout_fn>(native_save)), "a.pic", 4, 3,
                  13, 14, 15, 16, 17, cutout, 18, cutout, 19, 1.5F, 2.5F, 3.5F, 4.5F),
              17);
    EXPECT_EQ(reals, (std::vector{1.5F, 2.5F, 3.5F, 4.5F}));
    EXPECT_EQ(integers, (std::vector{4, 3, 13, 14, 0, 16, 17, 1, 18, 19})) << "int_5 becomes 0";

    const auto native_load = [](const char*, unsigned int*, unsigned int*, unsigned int* int_3,
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
    EXPECT_EQ(info.load(1, 0, generic(static_cast<trellis_load_cutout_fn>(native_load)), wide), 0);
    EXPECT_EQ(info.int_3 * 1000 + info.int_5 * 100 + info.data_size + info.int_7, 3520U);
    EXPECT_EQ(info.real[0], 1.5F);
    EXPECT_EQ(wide[47], 16383);
    EXPECT_EQ(wide[46], 0);
}

TEST_F(Wrappers, Sizes) {
    const struct {
        int mode;
        int kind;
        int buffer_type;
        int code;
        unsigned int data_size;
    } cases[] = {{0, 1, 0, 0, 20000}, {0, 2, 1, 0, 40000},       {1, 1, 0, 0, 40000},
                 {2, 1, 0, 0, 20004}, {0, 3, 0, 14, 98},         {1, 3, 0, 14, 196},
                 {2, 3, 0, 14, 53},   {9, 1, 0, 0, 100 * 50 * 4}};
    for (const auto& c : cases) {
        set_buffer_type_trellis(c.buffer_type);
        Information info;
        EXPECT_EQ(info.size(c.mode, c.kind, generic(size_100_50)), c.code);
        EXPECT_EQ(info.data_size, c.data_size) << c.mode << " " << c.kind;
        if (c.code == 0) {
            info.expect_defaults(c.data_size);
        }
    }
    unsigned int width = 0;
    unsigned int height = 0;
    EXPECT_EQ(size_mask_fn_convert_trellis(7, 3, size_100_50, "a.pic", &width, &height), 0);
    EXPECT_EQ(width * 100 + height, 10050U);
    EXPECT_EQ(size_mask_fn_convert_trellis(0, 0, size_100_50, "a.pic", &width, &height), 14);
}

TEST_F(Wrappers, RefusalsAndFailures) {
    u16 buffer[256] = {};
    unsigned int out = 0;
    Information info;
    slot_is_wide = false;
    colour_channels = 4;
    const auto all = [&](int mode, int cut_kind, int mask_kind) {
        return std::vector{
            load_pic_fn_convert_trellis(mode, load_pic, "a", buffer, 4, 0, 0, 3, 2, 0, 0),
            save_pic_fn_convert_trellis(mode, save_pic, "a", buffer, 4, 0, 0, 3, 2, 0),
            load_rgba_fn_convert_trellis(mode, load_cut, "a", buffer, 4, buffer, 4, 0, 0, 3, 2, 0,
                                         0),
            save_rgba_fn_convert_trellis(mode, save_cut, "a", buffer, 4, buffer, 4, 0, 0, 3, 2, 0),
            load_rgba_inone_fn_convert_trellis(mode, load_pic, "a", buffer, 4, 0, 0, 3, 2, 0, 0),
            save_rgba_inone_fn_convert_trellis(mode, save_pic, "a", buffer, 4, 0, 0, 3, 2, 0),
            info.load(mode, cut_kind, generic(load_pic), buffer),
            save_cut_fn_convert_trellis(mode, cut_kind, generic(save_pic), "a", 4, 3, 0, 0, 0, 0, 0,
                                        nullptr, 0, buffer, 0, 0, 0, 0, 0),
            load_mask_fn_convert_trellis(mode, mask_kind, generic(load_pic), "a", buffer, 4, 0, 0,
                                         3, 2, 0, 0),
            save_mask_fn_convert_trellis(mode, mask_kind, generic(save_pic), "a", buffer, 4, 0, 0,
                                         3, 2, 0)};
    };
    for (const int mode : {-1, 3}) {
        EXPECT_EQ(all(mode, 1, 1), std::vector(10, 14));
    }
    EXPECT_EQ(record.calls, 0);
    const std::vector kinds = all(0, 3, 0);
    EXPECT_EQ(std::vector(kinds.begin() + 6, kinds.end()), std::vector(4, 14));
    EXPECT_EQ(load_cat_fn_convert_trellis(
                  9,
                  [](const char*, void*, int capacity, unsigned int*, unsigned int*,
                     unsigned int*) { return capacity; },
                  "a", buffer, 64, &out, &out, &out),
              64)
        << "passed on whatever the mode";

    slot_result = 42;
    slot_is_wide = true;
    colour_channels = 3;
    EXPECT_EQ(load_pic_fn_convert_trellis(2, load_pic, "a", buffer, 4, 0, 0, 3, 2, 0, 0), 42);
    EXPECT_EQ(inq_buffer_type_trellis(), 0) << "put back after a failure too";
    slot_result = 0;

    // No memory: the slot is not called.
    slot_is_wide = false;
    colour_channels = 4;
    record = {};
    EXPECT_EQ(support::codes_without_memory([&] {
                  return load_rgba_fn_convert_trellis(1, load_cut, "a", buffer, 4, buffer + 128, 4,
                                                      0, 0, 3, 2, 0, 0);
              }),
              (std::vector{3, 3, 0}));
    EXPECT_EQ(record.calls, 1);
    EXPECT_EQ(load_pic_fn_convert_trellis(1, load_pic, "a", buffer, 4, INT_MIN, INT_MIN, INT_MAX,
                                          INT_MAX, 0, 0),
              3);

    // No pixels: the slot's own answer comes back.
    record = {};
    slot_result = 9;
    EXPECT_EQ(load_pic_fn_convert_trellis(1, load_pic, "a", buffer, 4, 5, 5, 4, 4, 0, 0), 9);
    info.width = 0;
    EXPECT_EQ(info.load(2, 1, generic(load_pic), buffer), 9);
    EXPECT_EQ(save_cut_fn_convert_trellis(1, 2, generic(save_cut), "a", -3, 4, 0, 0, 0, 0, 0,
                                          nullptr, 0, buffer, 0, 0, 0, 0, 0),
              9);
    EXPECT_EQ(record.calls, 3);
}

// The real thing: 16-bit buffers out to a Pixar file, and back into every 8-bit shape.
TEST_F(Wrappers, APixarCutoutBetweenDepthsAndShapes) {
    const support::TempDir dir;
    const std::string name = dir.path("a.pic");
    pic_format pixar{};
    init_pixar_pic_(&pixar);
    u16 colour[2 * 3 * 3];
    u16 matte[2 * 3];
    for (int i = 0; i < 18; ++i) {
        colour[i] = static_cast<u16>(i * 900 + 63);
    }
    for (int i = 0; i < 6; ++i) {
        matte[i] = static_cast<u16>(i * 3000);
    }
    set_buffer_type_trellis(1);
    ASSERT_EQ(save_rgba_fn_convert_trellis(2, pixar.save_cut_fn, name.c_str(), colour, 2, matte, 2,
                                           0, 0, 1, 2, 1),
              0);
    u16 wide[18] = {};
    u16 wide_matte[6] = {};
    ASSERT_EQ(load_rgba_fn_convert_trellis(1, pixar.load_cut_fn, name.c_str(), wide, 2, wide_matte,
                                           2, 0, 0, 1, 2, 0, 0),
              0);
    set_buffer_type_trellis(0);
    Information info;
    info.width = 2;
    u8 cutout[24] = {};
    ASSERT_EQ(
        load_cut_fn_convert_trellis(
            0, 2, generic(pixar.load_cut_fn), name.c_str(), &info.width, &info.height, &info.int_3,
            &info.int_4, &info.real[0], &info.real[1], &info.real[2], &info.real[3], &info.int_5,
            &info.int_6, &info.outline_size, &info.outline, &info.data_size, cutout, &info.int_7),
        0);
    u8 mask[6] = {};
    ASSERT_EQ(load_mask_fn_convert_trellis(0, 2, generic(pixar.load_cut_fn), name.c_str(), mask, 2,
                                           0, 0, 1, 2, 0, 0),
              0);
    u8 grey[6] = {};
    ASSERT_EQ(load_mask_fn_convert_trellis(0, 1, generic(pixar.load_pic_fn), name.c_str(), grey, 2,
                                           0, 0, 1, 2, 0, 0),
              0);
    for (int i = 0; i < 6; ++i) {
        const int narrow_matte = matte[i] >> 6;
        EXPECT_EQ(cutout[4 * i], narrow_matte);
        EXPECT_EQ(mask[i], narrow_matte);
        EXPECT_EQ(wide_matte[i], narrow_matte * 64 + narrow_matte / 4);
        for (int c = 0; c < 3; ++c) {
            const int narrow = (colour[3 * i + c] >> 6) & 0xFF;
            EXPECT_EQ(cutout[4 * i + 1 + c], narrow);
            EXPECT_EQ(wide[3 * i + c], narrow * 64 + narrow / 4);
        }
        EXPECT_EQ(grey[i], static_cast<int>(0.11 * cutout[4 * i + 1] + 0.59 * cutout[4 * i + 2] +
                                            0.3 * cutout[4 * i + 3]));
    }
}

}  // namespace
