#pragma once

// DPX and Cineon files put together byte by byte, and buffers for what is loaded from them.

#include <cstring>
#include <string>

#include "support/formats.h"
#include "support/support.h"

namespace support {

/// The fields of a DPX header that tests vary. Width and lines are those of the file's lines.
struct DpxHeader {
    std::uint64_t width = 3;
    std::uint64_t lines = 2;
    int descriptor = 50;
    int bit_size = 10;
    int orientation = 0;
    bool big = true;
    int elements = 1;
    std::uint64_t offset = 2048;

    Bytes bytes() const {
        const auto number = [this](std::uint64_t value, int size) { return big ? be(value, size) : le(value, size); };
        Bytes header = zeros(2048);
        put(header, 0, hex(big ? "53 44 50 58" : "58 50 44 53") + number(offset, 4));
        put(header, 768, number(static_cast<std::uint64_t>(orientation), 2));
        put(header, 770, number(static_cast<std::uint64_t>(elements), 2));
        put(header, 772, number(width, 4) + number(lines, 4));
        put(header, 800, be(static_cast<std::uint64_t>(descriptor << 8 | 9), 2));
        header[803] = static_cast<std::uint8_t>(bit_size);
        return header;
    }
};

/// The fields of a Cineon header that tests vary.
struct CineonHeader {
    std::uint64_t width = 3;
    std::uint64_t lines = 2;
    int channels = 3;
    int orientation = 0;
    int bits = 10;
    Bytes format = {0, 5, 0, 0};  // interleave, packing, signed, sense
    std::uint64_t generic_length = 1024;
    std::uint64_t user_length = 0;

    Bytes bytes() const {
        Bytes header = zeros(2048);
        put(header, 0, hex("80 2A 5F D7 00 00 77 77"));  // the image offset is not to be believed
        put(header, 8, be(generic_length, 4) + zeros(4) + be(user_length, 4));
        put(header, 192, be(static_cast<std::uint64_t>(orientation << 8 | channels), 2));
        put(header, 198, {static_cast<std::uint8_t>(bits), 0});
        put(header, 200, be(width, 4) + be(lines, 4));
        put(header, 680, format);
        return header;
    }
};

/// The last-header buffer's contents.
inline Bytes last_header() {
    void* block = nullptr;
    int size = 0;
    inq_last_header_trellis(&block, &size);
    const auto* bytes = static_cast<const std::uint8_t*>(block);
    return {bytes, bytes + size};
}

/// Puts a header where the next save looks for one.
inline void prepare_header(const pic_format& format, Bytes bytes) {
    void* block = nullptr;
    int size = 0;
    bytes.resize(bytes.size() + (format.type == TRELLIS_TYPE_CINEON ? 8 : 0));
    realloc_last_header_trellis(static_cast<int>(bytes.size()));
    set_last_header_type_trellis(static_cast<int>(format.type));
    inq_last_header_trellis(&block, &size);
    std::memcpy(block, bytes.data(), bytes.size());
}

inline void prepare_orientation(const pic_format& format, int orientation) {
    prepare_header(format, format.type == TRELLIS_TYPE_DPX ? DpxHeader{.orientation = orientation}.bytes()
                                                           : CineonHeader{.orientation = orientation}.bytes());
}

/// Guarded buffers of width × height pixels, and loads and saves of rectangles in them.
struct FilmBuffers {
    FilmBuffers(int width, int height) : colour(width, height, 3), matte(width, height, 1, 5) {}

    int load(const pic_format& format, const std::string& name, int x0, int y0, int x1, int y1, int file_x = 0,
             int file_y = 0) {
        return format.load_cut_fn(name.c_str(), colour.data(), colour.pitch(), matte.data(), matte.pitch(), x0, y0, x1,
                                  y1, file_x, file_y);
    }

    /// Mode 4 saves a mask, 5 a picture, 6 a cutout.
    int save(const pic_format& format, int mode, const std::string& file, int x0, int y0, int x1, int y1) {
        const char* name = file.c_str();
        return mode == 4   ? format.save_mask_fn(name, matte.data(), matte.pitch(), x0, y0, x1, y1, 1)
               : mode == 5 ? format.save_pic_fn(name, colour.data(), colour.pitch(), x0, y0, x1, y1, 0)
                           : format.save_cut_fn(name, colour.data(), colour.pitch(), matte.data(), matte.pitch(), x0,
                                                y0, x1, y1, 0);
    }

    /// Noise of `bits` bits everywhere.
    void fill(int width, int height, int bits = 10) {
        Noise noise(static_cast<std::uint32_t>(width + height));
        for (int i = 0; i < width * height * 4; ++i) {
            const auto sample = static_cast<std::uint16_t>(noise.next() & ((1U << bits) - 1));
            const int x = i / 4 % width;
            const int y = i / 4 / width;
            (i % 4 == 3 ? matte.at(x, y) : colour.at(x, y, i % 4)) = sample;
        }
    }

    int written() const { return colour.written() + matte.written(); }
    bool operator==(const FilmBuffers&) const = default;

    Guarded<std::uint16_t> colour;
    Guarded<std::uint16_t> matte;
};

}  // namespace support
