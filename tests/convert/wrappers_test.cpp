// Convert wrappers around slots that record how they are called: what arrives there, what comes
// back, and what stays untouched.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <functional>

#include "trellis/trellis.h"

#include "support/support.h"

namespace {

using support::Guarded;
using u8 = std::uint8_t;
using u16 = std::uint16_t;
using List = std::vector<int>;

// What a sample of a pixel shows of the picture, and the samples of pixels in memory order.
enum Channel { blue, green, red, matte, grey, opaque, black, spare };
using Shape = std::vector<Channel>;
const Shape colour = {spare, blue, green, red};
const Shape cutout = {matte, blue, green, red};

Shape at_depth(Shape shape, bool wide) {
    if (wide) { std::erase(shape, spare); }
    return shape;
}

// An 8-bit sample of the picture, or a 16-bit one that narrows to it and does not look it.
int sample(int x, int y, Channel channel, bool wide) {
    const auto other = [=](Channel c) { return sample(x, y, c, wide); };
    switch (channel) {
        case black: return 0;
        case opaque: return wide ? 16383 : 255;
        case grey: return static_cast<int>(0.11 * other(blue) + 0.59 * other(green) + 0.3 * other(red));
        default: break;
    }
    const int value = (x * 7 + y * 31 + channel * 59) & 0xFF;
    return wide ? value * 64 + 63 : value;
}

int converted(int mode, int value) { return mode == 1 ? value * 64 + value / 4 : mode == 2 ? value >> 6 : value; }

// The picture lies in a rectangle of 4 × 3 pixels, in the host's buffers and in the slot's.
template <class Sample, class At>
void each_sample(Sample* pixels, int pitch, int x0, int y0, const Shape& shape, At at) {
    for (int i = 0; i < 12; ++i) {
        Sample* to = pixels + ((y0 + i / 4) * pitch + x0 + i % 4) * static_cast<int>(shape.size());
        for (const Channel channel : shape) {
            if (channel != spare) { at(*to, i % 4, i / 4, channel); }
            ++to;
        }
    }
}

// How slots are to behave, and how the last call came to one.
struct Record {
    bool is_load = false;
    int mode = 0;          // of the wrapper
    bool is_wide = false;  // the depth of the slot's buffers
    Shape shape = {};      // of their pixels
    int result = 0;

    int calls = 0;
    const void* pixels = nullptr;
    int pitch = 0;
    const void* mattes = nullptr;
    List rectangle = {};
    List last = {};                   // file_x and file_y, or compress
    bool saw_something_else = false;  // than the picture
} record;

// The picture as one side has it: it begins in the slot of a load, or at the host of a save.
int shown(bool in_slot, int x, int y, Channel channel) {
    const bool begins_wide = record.is_wide != (!record.is_load && record.mode != 0);
    const int value = sample(x, y, channel, begins_wide);
    return in_slot == record.is_load ? value : converted(record.mode, value);
}

int slot(void* pixels, int pitch, void* mattes, int matte_pitch, const List& rectangle, const List& last) {
    record = {record.is_load, record.mode, record.is_wide, record.shape, record.result, record.calls + 1,
              pixels,         pitch,       mattes,         rectangle,    last};
    const auto load_or_look = []<class Sample>(Sample& at, int x, int y, Channel channel) {
        const auto value = static_cast<Sample>(shown(true, x, y, channel));
        if (record.is_load) { at = value; }
        record.saw_something_else |= at != value;
    };
    const auto each = [&]<class Sample>(Sample) {
        each_sample(static_cast<Sample*>(pixels), pitch, rectangle[0], rectangle[1], record.shape, load_or_look);
        if (mattes != nullptr) {
            each_sample(static_cast<Sample*>(mattes), matte_pitch, rectangle[0], rectangle[1], {matte}, load_or_look);
        }
    };
    if (record.result == 0) { record.is_wide ? each(u16{}) : each(u8{}); }
    return record.result;
}

int load_cut(const char*, void* pixels, int pitch, void* mattes, int matte_pitch, int x0, int y0, int x1, int y1,
             int file_x, int file_y) {
    EXPECT_EQ(inq_buffer_type_trellis(), record.is_wide ? 1 : 0) << "the slot finds its own depth";
    return slot(pixels, pitch, mattes, matte_pitch, {x0, y0, x1, y1}, {file_x, file_y});
}

int load_pic(const char* name, void* pixels, int pitch, int x0, int y0, int x1, int y1, int file_x, int file_y) {
    return load_cut(name, pixels, pitch, nullptr, 0, x0, y0, x1, y1, file_x, file_y);
}

int save_cut(const char*, void* pixels, int pitch, void* mattes, int matte_pitch, int x0, int y0, int x1, int y1,
             int compress) {
    return slot(pixels, pitch, mattes, matte_pitch, {x0, y0, x1, y1}, {compress});
}

int save_pic(const char* name, void* pixels, int pitch, int x0, int y0, int x1, int y1, int compress) {
    return save_cut(name, pixels, pitch, nullptr, 0, x0, y0, x1, y1, compress);
}

int size_100_50(const char*, unsigned int* width, unsigned int* height) {
    *width = 100;
    *height = 50;
    return record.result;
}

template <class Slot>
trellis_slot_fn any(Slot fn) {
    return reinterpret_cast<trellis_slot_fn>(fn);
}

/// A cutout-information block as a host keeps it.
struct Information {
    unsigned int width = 4, height = 3, int_3 = 91, int_4 = 92, int_5 = 95, int_6 = 96;
    unsigned int outline_size = 97, data_size = 98, int_7 = 99;
    std::array<float, 4> real = {};
    trellis_default_outline outline = {};

    int load(int mode, int kind, trellis_slot_fn fn, void* pixels) {
        return load_cut_fn_convert_trellis(mode, kind, fn, "a", &width, &height, &int_3, &int_4, &real[0], &real[1],
                                           &real[2], &real[3], &int_5, &int_6, &outline_size, &outline, &data_size,
                                           pixels, &int_7);
    }
    std::pair<unsigned int, unsigned int> size_pair() const { return {width, height}; }
    int size(int mode, int kind, trellis_slot_fn fn) {
        return size_cut_fn_convert_trellis(mode, kind, fn, "a", &width, &height, &int_3, &int_4, &real[0], &real[1],
                                           &real[2], &real[3], &int_6, &outline_size, &data_size, &int_7);
    }
    void expect(const std::vector<unsigned int>& numbers, const std::array<float, 4>& reals) const {
        EXPECT_EQ((std::vector{int_3, int_4, int_5, int_6, outline_size, data_size, int_7}), numbers);
        EXPECT_EQ(real, reals);
    }
    void expect_defaults(unsigned int bytes) const {
        expect({0, 0, 95, 1, 40, bytes, 3}, {float(width - 1) / 2, float(height - 1) / 2, 0.5F, 0.5F});
    }
};

/// The buffers and the rectangle that a host gives a wrapper.
struct Host {
    void* pixels;
    int pitch;
    void* mattes;
    int matte_pitch;
    int x0, y0, x1, y1;
};

using Call = std::function<int(int mode, const Host& host)>;

// Calls of wrappers that take one buffer, or two, or a slot of one of several kinds.

template <class Function, class Slot, class... Last>
Call one(Function function, Slot fn, Last... last) {
    return [=](int mode, const Host& h) {
        return function(mode, fn, "a", h.pixels, h.pitch, h.x0, h.y0, h.x1, h.y1, last...);
    };
}

template <class Function, class Slot, class... Last>
Call two(Function function, Slot fn, Last... last) {
    return [=](int mode, const Host& h) {
        return function(mode, fn, "a", h.pixels, h.pitch, h.mattes, h.matte_pitch, h.x0, h.y0, h.x1, h.y1, last...);
    };
}

Call load_mask(int kind, trellis_slot_fn fn) {
    return one([=](int mode, auto... rest) { return load_mask_fn_convert_trellis(mode, kind, rest...); }, fn, -7, -8);
}

Call save_mask(int kind, trellis_slot_fn fn) {
    return one([=](int mode, auto... rest) { return save_mask_fn_convert_trellis(mode, kind, rest...); }, fn, 9);
}

Call load_cutout(int kind, trellis_slot_fn fn) {
    return [=](int mode, const Host& h) {
        Information info;
        const int code = info.load(mode, kind, fn, h.pixels);
        if (code == 0) {
            info.expect_defaults(record.is_wide ? 96 : 48);
            EXPECT_EQ(info.outline.points[2].x, 3.0F);
        }
        return code;
    };
}

Call save_cutout(int kind, trellis_slot_fn fn, int width = 4) {
    return [=](int mode, const Host& h) {
        return save_cut_fn_convert_trellis(mode, kind, fn, "a", width, 3, 0, 0, 0, 0, 0, nullptr, 0, h.pixels, 0, 0, 0,
                                           0, 0);
    };
}

enum Packing { anywhere, packed_in_mode_0, packed };

const struct Wrapper {
    const char* name;
    Packing packing;   // of the host's pixels
    Shape host, slot;  // the pixels, and what they show of each other
    bool slot_mattes;  // they are the host's mattes unless its pixels show them
    List last;         // what the slot gets as file_x and file_y, or as compress
    Call call;
    bool is_load() const { return last.size() == 2; }
} wrappers[] = {
    {"load_pic", anywhere, colour, colour, false, {-7, -8}, one(load_pic_fn_convert_trellis, load_pic, -7, -8)},
    {"load_rgba", anywhere, colour, colour, true, {-7, -8}, two(load_rgba_fn_convert_trellis, load_cut, -7, -8)},
    {"load_rgba_inone",
     anywhere,
     cutout,
     cutout,
     false,
     {-7, -8},
     one(load_rgba_inone_fn_convert_trellis, load_pic, -7, -8)},
    {"load_mask of a picture", packed_in_mode_0, {grey}, colour, false, {-7, -8}, load_mask(1, any(load_pic))},
    {"load_mask of a cutout", packed_in_mode_0, {matte}, colour, true, {-7, -8}, load_mask(2, any(load_cut))},
    {"load_mask", anywhere, {blue}, {blue}, false, {-7, -8}, load_mask(3, any(load_pic))},
    {"load_cut of a picture", packed, {opaque, blue, green, red}, colour, false, {0, 0}, load_cutout(1, any(load_pic))},
    {"load_cut", packed, cutout, colour, true, {0, 0}, load_cutout(2, any(load_cut))},
    {"save_pic", anywhere, colour, colour, false, {9}, one(save_pic_fn_convert_trellis, save_pic, 9)},
    {"save_rgba", anywhere, colour, colour, true, {9}, two(save_rgba_fn_convert_trellis, save_cut, 9)},
    {"save_rgba_inone", anywhere, cutout, cutout, false, {9}, one(save_rgba_inone_fn_convert_trellis, save_pic, 9)},
    {"save_mask as a picture",
     packed_in_mode_0,
     {blue},
     {spare, blue, blue, blue},
     false,
     {1},
     save_mask(1, any(save_pic))},
    {"save_mask as a cutout",
     packed_in_mode_0,
     {matte},
     {spare, black, black, black},
     true,
     {1},
     save_mask(2, any(save_cut))},
    {"save_mask", anywhere, {blue}, {blue}, false, {9}, save_mask(3, any(save_pic))},
    {"save_cut as a picture", packed, cutout, colour, false, {1}, save_cutout(1, any(save_pic))},
    {"save_cut", packed, cutout, colour, true, {0}, save_cutout(2, any(save_cut))},
};

class Wrappers : public testing::Test {
  protected:
    void SetUp() override { record = {}; }
    void TearDown() override { set_buffer_type_trellis(0); }
};

/// Gives a wrapper a host's buffers of one depth. Samples that a load fills or a save reads are as
/// the picture has them, and no call may change any other.
template <class Sample>
void check(const Wrapper& wrapper, int mode) {
    constexpr bool wide = sizeof(Sample) == 2;
    SCOPED_TRACE(std::string(wrapper.name) + (wide ? ", 16-bit, mode " : ", 8-bit, mode ") + std::to_string(mode));
    const bool is_load = wrapper.is_load();
    record = {is_load, mode, wide != (mode != 0), at_depth(wrapper.slot, wide != (mode != 0))};
    const Shape shape = at_depth(wrapper.host, wide);
    const bool is_packed = wrapper.packing == packed || (wrapper.packing == packed_in_mode_0 && mode == 0);
    const int x0 = is_packed ? 0 : 2;
    const int y0 = is_packed ? 0 : 1;
    const auto buffer = [&](const Shape& channels, bool filled) {
        Guarded<Sample> samples(x0 + 4, y0 + 3, static_cast<int>(channels.size()), is_packed ? 0 : 3);
        const auto fill = [](Sample& to, int x, int y, Channel c) { to = static_cast<Sample>(shown(false, x, y, c)); };
        if (filled) { each_sample(samples.data(), samples.pitch(), x0, y0, channels, fill); }
        return samples;
    };
    auto pixels = buffer(shape, !is_load);
    auto mattes = buffer({matte}, !is_load);

    set_buffer_type_trellis(wide ? 1 : 0);
    const Host host = {pixels.data(), pixels.pitch(), mattes.data(), mattes.pitch(), x0, y0, x0 + 3, y0 + 2};
    EXPECT_EQ(wrapper.call(mode, host), 0);
    EXPECT_EQ(inq_buffer_type_trellis(), wide ? 1 : 0);

    EXPECT_EQ(record.calls, 1);
    EXPECT_EQ(record.pitch, mode == 0 ? host.pitch : 4);
    EXPECT_EQ(record.rectangle, mode == 0 ? (List{x0, y0, host.x1, host.y1}) : (List{0, 0, 3, 2}));
    EXPECT_EQ(record.mattes != nullptr, wrapper.slot_mattes);
    EXPECT_EQ(record.last, wrapper.last);
    EXPECT_FALSE(record.saw_something_else);
    if (wrapper.packing == anywhere) { EXPECT_EQ(record.pixels == host.pixels, mode == 0); }
    const bool mattes_apart = wrapper.slot_mattes && std::ranges::count(shape, matte) == 0;
    EXPECT_EQ(pixels, buffer(shape, true));
    EXPECT_EQ(mattes, buffer({matte}, !is_load || mattes_apart));
}

TEST_F(Wrappers, BetweenShapesAndDepths) {
    for (const Wrapper& wrapper : wrappers) {
        check<u8>(wrapper, 0);
        check<u16>(wrapper, 0);
        check<u8>(wrapper, wrapper.is_load() ? 2 : 1);
        check<u16>(wrapper, wrapper.is_load() ? 1 : 2);
    }
    u16 pixels[36];
    record = {true, 1, false, colour};
    EXPECT_EQ(load_rgba_fn_convert_trellis(1, load_cut, "a", pixels, 4, nullptr, 77, 0, 0, 3, 2, 0, 0), 0);
    EXPECT_EQ(record.mattes, nullptr) << "no matte stays no matte";

    // Buffers that the host does not give are not given to the slot; an outline is not wanted then.
    set_buffer_type_trellis(0);
    const Host nothing = {nullptr, 4, nullptr, 4, 0, 0, 3, 2};
    for (const Wrapper& wrapper : wrappers) {
        for (const int mode : {0, 1, 2}) {
            record = {wrapper.is_load(), mode, (mode == 2) == wrapper.is_load() && mode != 0, colour, 42};
            EXPECT_EQ(wrapper.call(mode, nothing), 42) << wrapper.name << ", mode " << mode;
            EXPECT_EQ(record.mattes, nullptr);
            EXPECT_EQ(record.pixels != nullptr, wrapper.host == Shape{matte}) << "colour beside a mask";
        }
    }
    Information info;
    record = {true, 0, false, colour};
    u8 bytes[48];
    EXPECT_EQ(
        load_cut_fn_convert_trellis(0, 1, any(load_pic), "a", &info.width, &info.height, &info.int_3, &info.int_4,
                                    &info.real[0], &info.real[1], &info.real[2], &info.real[3], &info.int_5,
                                    &info.int_6, &info.outline_size, nullptr, &info.data_size, bytes, &info.int_7),
        0);
    info.expect_defaults(48);
}

// What a native slot got: numbers, and 0 for a pointer; and what it answers: the place of each
// argument, through the pointer that is there.
double got(double number) { return number; }
double got(const void*) { return 0; }
void answer(const char*, int) {}
void answer(unsigned int* number, int place) { *number = static_cast<unsigned int>(place); }
void answer(float* number, int place) { *number = static_cast<float>(place); }
void answer(void* bytes, int place) { *static_cast<u8*>(bytes) = static_cast<u8>(place); }

// A native slot gets everything as it is, the floats in the places of floats; int_5 becomes 0.
TEST_F(Wrappers, NativeCutoutSlots) {
    static std::vector<double> all;
    const trellis_save_cutout_fn save = [](auto... arguments) {
        all = {got(arguments)...};
        return 17;
    };
    u8 bytes[48] = {};
    EXPECT_EQ(save_cut_fn_convert_trellis(0, 0, any(save), "a", 4, 3, 13, 14, 15, 16, 17, bytes, 18, bytes, 19, 1.5F,
                                          2.5F, 3.5F, 4.5F),
              17);
    EXPECT_EQ(all, (std::vector<double>{0, 4, 3, 13, 14, 0, 16, 17, 0, 18, 0, 19, 1.5, 2.5, 3.5, 4.5}));

    const auto fill = [](auto... arguments) {
        int place = 0;
        (answer(arguments, place++), ...);
        return 17;
    };
    const trellis_load_cutout_fn load = fill;
    const trellis_size_cut_fn size = fill;
    Information info;
    u16 wide[48] = {};
    EXPECT_EQ(info.load(1, 0, any(load), wide), 17);
    info.expect({3, 4, 9, 10, 11, 13, 15}, {5, 6, 7, 8});
    EXPECT_EQ(info.size_pair(), std::pair(1U, 2U));
    EXPECT_EQ(info.outline.point_count, 12);
    EXPECT_EQ(wide[0], 14 * 64 + 3);
    Information sized;
    EXPECT_EQ(sized.size(0, 0, any(size)), 17);
    sized.expect({3, 4, 95, 9, 10, 11, 12}, {5, 6, 7, 8});
    EXPECT_EQ(sized.size_pair(), std::pair(1U, 2U));
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
    EXPECT_EQ(std::pair(width, height), std::pair(100U, 50U));
    EXPECT_EQ(size_mask_fn_convert_trellis(0, 0, size_100_50, "a", &width, &height), 14);
    const trellis_load_cat_fn catalogue = [](const char*, void*, int capacity, unsigned int*, unsigned int*,
                                             unsigned int*) { return capacity; };
    EXPECT_EQ(load_cat_fn_convert_trellis(9, catalogue, "a", nullptr, 64, &width, &width, &width), 64);
}

TEST_F(Wrappers, RefusalsAndFailures) {
    u16 buffer[256] = {};
    const Host host = {buffer, 4, buffer + 128, 4, 0, 0, 3, 2};
    for (const Wrapper& wrapper : wrappers) {
        SCOPED_TRACE(wrapper.name);
        record = {wrapper.is_load(), 1, !wrapper.is_load(), at_depth(wrapper.slot, !wrapper.is_load())};
        EXPECT_EQ(wrapper.call(-1, host), 14);
        EXPECT_EQ(wrapper.call(3, host), 14);
        EXPECT_EQ(record.calls, 0);
        // Without memory the slot is not called.
        const List codes = support::codes_without_memory([&] { return wrapper.call(1, host); });
        EXPECT_GT(codes.size(), 1U);
        EXPECT_EQ(List(codes.rbegin() + 1, codes.rend()), List(codes.size() - 1, 3));
        EXPECT_EQ(record.calls, 1);
        record.result = 42;
        EXPECT_EQ(wrapper.call(1, host), 42);
    }
    // A kind that is not served touches nothing, whatever the mode.
    u8 untouched[256];
    std::ranges::fill(untouched, u8{0xA5});
    const Host whole = {untouched, 4, nullptr, 0, 0, 0, 3, 2};
    for (const int kind : {-1, 0, 3, 4}) {
        for (const Call& call :
             {load_cutout(kind == 0 ? 4 : kind, any(load_pic)), save_cutout(kind == 0 ? 4 : kind, any(save_pic)),
              load_mask(kind == 3 ? 4 : kind, any(load_pic)), save_mask(kind == 3 ? 4 : kind, any(save_pic))}) {
            for (const int mode : {0, 1, 2}) {
                EXPECT_EQ(support::codes_without_memory([&] { return call(mode, whole); }), List(20, 14));
            }
        }
    }
    EXPECT_EQ(std::ranges::count(untouched, u8{0xA5}), 256);
    EXPECT_EQ(load_pic_fn_convert_trellis(0, nullptr, "a", buffer, 4, 0, 0, 3, 2, 0, 0), 14) << "an empty slot";
    EXPECT_EQ(load_pic_fn_convert_trellis(1, load_pic, "a", buffer, 4, INT_MIN, INT_MIN, INT_MAX, INT_MAX, 0, 0), 3);

    // The slot's own answer comes back also where there are no pixels.
    record = {.result = 42};
    EXPECT_EQ(load_pic_fn_convert_trellis(1, load_pic, "a", buffer, 4, 5, 5, 4, 4, 0, 0), 42);
    EXPECT_EQ(save_cutout(2, any(save_cut), -3)(1, host), 42);
    Information info;
    info.width = 0;
    EXPECT_EQ(info.load(1, 1, any(load_pic), buffer), 42);
}

}  // namespace
