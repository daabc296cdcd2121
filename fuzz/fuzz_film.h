#pragma once

// What the two film targets do with a file: offer it to every function that reads such files.

#include <algorithm>

#include "trellis/trellis.h"

#include "fuzz_file.h"

namespace fuzz {

inline void read_film(const pic_format& format, const std::uint8_t* bytes, std::size_t size) {
    static File file;
    Steering steering(bytes, size);
    const int width = steering.next(0, 40);
    const int height = steering.next(0, 40);
    const int file_x = steering.next(-20, 20);
    const int file_y = steering.next(-20, 20);
    const char* name = file.with(bytes, size);

    unsigned int out[12] = {};
    std::vector<std::uint8_t> header(bytes, bytes + size);
    header.resize(std::max<std::size_t>(size, 194));
    format.inq_type_fn(header.data(), static_cast<int>(size), name, 0, &out[0], &out[1]);
    format.size_pic_fn(name, &out[0], &out[1]);
    format.info_fn(name, &out[0], &out[1], &out[2], &out[3], &out[4], &out[5], &out[6], &out[7],
                   &out[8], &out[9], &out[10], &out[11]);
    std::vector<std::uint8_t> catalogue(96 * 64 * 4);
    format.load_cat_fn(name, catalogue.data(), 96 * 64, &out[0], &out[1], &out[2]);

    Canvas<std::uint16_t> colour(width, height, 3);
    Canvas<std::uint16_t> matte(width, height, 1);
    format.load_cut_fn(name, colour.origin(), colour.pitch(), matte.origin(), matte.pitch(), 0, 0,
                       width - 1, height - 1, file_x, file_y);
    format.load_pic_fn(name, colour.origin(), colour.pitch(), 0, 0, width - 1, height - 1, file_x,
                       file_y);
    format.load_mask_fn(name, matte.origin(), matte.pitch(), 0, 0, width - 1, height - 1, file_x,
                        file_y);
    colour.check();
    matte.check();
}

}  // namespace fuzz
