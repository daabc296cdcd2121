#pragma once

// Maya IFF files put together chunk by chunk, and buffers of both types to load them into.

#include <gtest/gtest.h>

#include <string>

#include "support/formats.h"
#include "support/support.h"

namespace support {

/// A chunk with its padding. A `size` of 0 or more is told instead of the true one.
inline Bytes chunk(const std::string& tag, const Bytes& data, std::int64_t size = -1) {
    const auto told = static_cast<std::uint64_t>(size < 0 ? std::int64_t(data.size()) : size);
    return text(tag) + be(told, 4) + data + zeros((4 - data.size() % 4) % 4);
}

inline Bytes form(const std::string& type, const Bytes& chunks) { return chunk("FOR4", text(type) + chunks); }

/// The header of a 4 × 2 picture. Reserved fields hold what no reader may take for anything.
inline Bytes header_chunk(std::uint64_t flags, std::uint64_t tiles = 1) {
    return chunk("TBHD", be(4, 4) + be(2, 4) + Bytes(4, 0xEE) + be(flags, 4) + Bytes(2, 0xEE) + be(tiles, 2) +
                             be(9, 4) + Bytes(8, 0xEE));
}

inline Bytes tile_chunk(int x0, int y0, int x1, int y1, const Bytes& pixels, std::int64_t size = -1) {
    Bytes data;
    for (const int corner : {x0, y0, x1, y1}) { data = data + be(static_cast<std::uint64_t>(corner), 2); }
    return chunk("RGBA", data + pixels, size);
}

/// Guarded buffers of one type, with a rectangle at (2, 1).
template <class Sample>
struct Loaded {
    static constexpr bool deep = sizeof(Sample) == 2;

    Loaded(int w, int h) : width(w), height(h), colour(w + 4, h + 3, deep ? 3 : 4), matte(w + 4, h + 3, 1) {}

    int load(const std::string& name, int file_x = 0, int file_y = 0) {
        set_buffer_type_trellis(deep ? 1 : 0);
        const int code = maya.load_cut_fn(name.c_str(), colour.data(), colour.pitch(), matte.data(), matte.pitch(), 2,
                                          1, 1 + width, height, file_x, file_y);
        set_buffer_type_trellis(0);
        return code;
    }

    /// Channel 0 is the matte, 1 to 3 are blue, green and red, as in the file.
    bool holds(int value, int x, int y, int channel) {
        return (channel == 0 ? matte.at(2 + x, 1 + y) : colour.at(2 + x, 1 + y, channel - (deep ? 1 : 0))) ==
               (deep ? value * 64 + value / 4 : value);
    }

    /// Expects `value` of pixel (x, y) and channel, where it is not negative, and nothing else.
    template <class Value>
    void expect(std::uint64_t flags, Value value) {
        int wrong = 0;
        int samples = 0;
        for (int i = 0; i < 4 * width * height; ++i) {
            const int expected = value(i / 4 % width, i / 4 / width, i % 4);
            if (expected < 0 || (flags & (i % 4 == 0 ? 2 : 1)) == 0) { continue; }
            ++samples;
            wrong += holds(expected, i / 4 % width, i / 4 / width, i % 4) ? 0 : 1;
        }
        EXPECT_EQ(wrong, 0);
        EXPECT_EQ(colour.written() + matte.written(), samples);
    }

    int width, height;
    Guarded<Sample> colour;
    Guarded<Sample> matte;
};

}  // namespace support
