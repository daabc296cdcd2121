#pragma once

// DPX and Cineon files put together byte by byte, and buffers for what is loaded from them.

#include <span>
#include <string>

#include "support/formats.h"
#include "support/support.h"

namespace support {

inline constexpr auto byte = [](auto value) { return static_cast<std::uint8_t>(value); };

/// The fields of a header that tests vary.
struct FilmHeader {
    Bytes magic = {};                   // the right one when it is empty
    std::int64_t width = 3, lines = 2;  // of the file's lines
    int bits = 10, orientation = 0;
    // DPX files alone have these,
    bool big = true;
    int descriptor = 50, elements = 1;
    std::int64_t offset = 2048, file_size = 0;
    int packing = 0, encoding = 0;
    std::int64_t sign = 0, line_padding = 0;
    const char* creator = "";
    // and Cineon files these.
    int channels = 3;
    Bytes layout = {0, 5, 0, 0};  // interleave, packing, signed, sense
    std::int64_t generic_length = 1024, user_length = 0;

    Bytes bytes(const pic_format& format) const {
        const auto number = [order = big || &format == &cineon ? be : le](std::int64_t value, int size) {
            return order(static_cast<std::uint64_t>(value), size);
        };
        Bytes header = zeros(2048);
        if (&format == &dpx) {
            put(header, 0, hex(big ? "53 44 50 58" : "58 50 44 53") + number(offset, 4));
            put(header, 768, number(orientation, 2) + number(elements, 2) + number(width, 4) + number(lines, 4));
            put(header, 16, number(file_size, 4));
            put(header, 160, text(creator));
            put(header, 780, number(sign, 4));
            put(header, 800, Bytes{byte(descriptor), 9, 7, byte(bits)} + number(packing, 2) + number(encoding, 2));
            put(header, 812, number(line_padding, 4));
        } else {
            put(header, 0, hex("80 2A 5F D7 00 00 77 77"));  // the image offset is not to be believed
            put(header, 8, number(generic_length, 4) + zeros(4) + number(user_length, 4));
            put(header, 192, {byte(orientation), byte(channels)});
            put(header, 198, Bytes{byte(bits), 0} + number(width, 4) + number(lines, 4));
            put(header, 680, layout);
        }
        put(header, 0, magic);
        return header;
    }
};

/// Where the pixels of a saved file start: after the header and what follows it.
inline std::size_t image_start(const pic_format& format) { return &format == &dpx ? 2048 : 2048 + 24576; }

/// The last-header buffer.
inline std::span<std::uint8_t> last_header() {
    void* block = nullptr;
    int size = 0;
    inq_last_header_trellis(&block, &size);
    return {static_cast<std::uint8_t*>(block), static_cast<std::size_t>(size)};
}

/// Puts a header where the next save looks for one.
inline void prepare_header(const pic_format& format, const Bytes& bytes) {
    free_last_header_trellis();
    realloc_last_header_trellis(static_cast<int>(bytes.size()) + (&format == &dpx ? 0 : 8));
    set_last_header_type_trellis(static_cast<int>(format.type));
    std::copy(bytes.begin(), bytes.end(), last_header().begin());
}

inline void prepare_orientation(const pic_format& format, int orientation) {
    prepare_header(format, FilmHeader{.orientation = orientation}.bytes(format));
}

/// Guarded buffers of width × height pixels, and loads and saves of rectangles in them. Mode 4 is
/// about masks, 5 about pictures, 6 about cutouts.
struct FilmBuffers {
    FilmBuffers(int width, int height) : colour(width, height, 3), matte(width, height, 1, 5) {}

    int load(const pic_format& format, const std::string& file, int x0, int y0, int x1, int y1, int file_x = 0,
             int file_y = 0, int mode = 6) {
        const char* name = file.c_str();
        return mode == 4   ? format.load_mask_fn(name, matte.data(), matte.pitch(), x0, y0, x1, y1, file_x, file_y)
               : mode == 5 ? format.load_pic_fn(name, colour.data(), colour.pitch(), x0, y0, x1, y1, file_x, file_y)
                           : format.load_cut_fn(name, colour.data(), colour.pitch(), matte.data(), matte.pitch(), x0,
                                                y0, x1, y1, file_x, file_y);
    }

    int save(const pic_format& format, int mode, const std::string& file, int x0, int y0, int x1, int y1) {
        const char* name = file.c_str();
        return mode == 4   ? format.save_mask_fn(name, matte.data(), matte.pitch(), x0, y0, x1, y1, 1)
               : mode == 5 ? format.save_pic_fn(name, colour.data(), colour.pitch(), x0, y0, x1, y1, 0)
                           : format.save_cut_fn(name, colour.data(), colour.pitch(), matte.data(), matte.pitch(), x0,
                                                y0, x1, y1, 0);
    }

    /// Sample 3 is the matte.
    std::uint16_t& at(int x, int y, int sample) { return sample == 3 ? matte.at(x, y) : colour.at(x, y, sample); }

    /// Noise of `bits` bits everywhere.
    void fill(int width, int height, int bits = 10) {
        Noise noise(static_cast<std::uint32_t>(width + height));
        for (int i = 0; i < width * height * 4; ++i) {
            at(i / 4 % width, i / 4 / width, i % 4) = static_cast<std::uint16_t>(noise.next() & ((1U << bits) - 1));
        }
    }

    int written() const { return colour.written() + matte.written(); }
    bool operator==(const FilmBuffers&) const = default;

    Guarded<std::uint16_t> colour;
    Guarded<std::uint16_t> matte;
};

}  // namespace support
