#pragma once

// DPX and Cineon files put together byte by byte, and buffers for what is loaded from them.

#include <cstring>
#include <string>

#include "trellis/trellis.h"

#include "support/support.h"

namespace support {

inline const pic_format& film_format(void (*init)(pic_format*)) {
    static pic_format dpx{};
    static pic_format cineon{};
    pic_format& format = init == init_dpx_pic_ ? dpx : cineon;
    init(&format);
    return format;
}

inline const pic_format& dpx() {
    return film_format(init_dpx_pic_);
}
inline const pic_format& cineon() {
    return film_format(init_smpte_pic_);
}

/// The fields of a DPX header that tests vary.
struct DpxHeader {
    std::uint64_t width = 3;  // of a line, in pixels
    std::uint64_t lines = 2;
    int descriptor = 50;
    int bit_size = 10;
    int orientation = 0;
    bool big = true;
    int elements = 1;
    std::uint64_t offset = 2048;

    Bytes bytes() const {
        const auto number = [&](auto value, int size) {
            const auto unsigned_value = static_cast<std::uint64_t>(value);
            return big ? be(unsigned_value, size) : le(unsigned_value, size);
        };
        Bytes header = zeros(2048);
        put(header, 0, big ? hex("53 44 50 58") : hex("58 50 44 53"));
        put(header, 4, number(offset, 4));
        put(header, 768, number(orientation, 2) + number(elements, 2));
        put(header, 772, number(width, 4) + number(lines, 4));
        header[800] = static_cast<std::uint8_t>(descriptor);
        header[801] = 9;
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
        put(header, 8, be(generic_length, 4));
        put(header, 16, be(user_length, 4));
        header[192] = static_cast<std::uint8_t>(orientation);
        header[193] = static_cast<std::uint8_t>(channels);
        header[198] = static_cast<std::uint8_t>(bits);
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
inline void prepare_header(int type, const Bytes& bytes) {
    void* block = nullptr;
    int size = 0;
    realloc_last_header_trellis(static_cast<int>(bytes.size()));
    set_last_header_type_trellis(type);
    inq_last_header_trellis(&block, &size);
    std::memcpy(block, bytes.data(), bytes.size());
}

/// Guarded buffers of width × height pixels, and loads and saves of rectangles in them.
struct FilmBuffers {
    FilmBuffers(int width, int height) : colour(width, height, 3), matte(width, height, 1, 5) {}

    int load(const pic_format& format, const std::string& name, int x0, int y0, int x1, int y1,
             int file_x = 0, int file_y = 0) {
        return format.load_cut_fn(name.c_str(), colour.data(), colour.pitch(), matte.data(),
                                  matte.pitch(), x0, y0, x1, y1, file_x, file_y);
    }

    /// Mode 4 saves a mask, 5 a picture, 6 a cutout.
    int save(const pic_format& format, int mode, const std::string& name, int x0, int y0, int x1,
             int y1) {
        const char* file = name.c_str();
        if (mode == 4) {
            return format.save_mask_fn(file, matte.data(), matte.pitch(), x0, y0, x1, y1, 1);
        }
        if (mode == 5) {
            return format.save_pic_fn(file, colour.data(), colour.pitch(), x0, y0, x1, y1, 0);
        }
        return format.save_cut_fn(file, colour.data(), colour.pitch(), matte.data(), matte.pitch(),
                                  x0, y0, x1, y1, 0);
    }

    /// Noise of `bits` bits everywhere.
    void fill(int width, int height, int bits = 10) {
        Noise noise(static_cast<std::uint32_t>(width + height));
        const std::uint32_t mask = (1U << bits) - 1;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                matte.at(x, y) = static_cast<std::uint16_t>(noise.next() & mask);
                for (int c = 0; c < 3; ++c) {
                    colour.at(x, y, c) = static_cast<std::uint16_t>(noise.next() & mask);
                }
            }
        }
    }

    int written() const { return colour.written() + matte.written(); }

    Guarded<std::uint16_t> colour;
    Guarded<std::uint16_t> matte;
};

}  // namespace support
