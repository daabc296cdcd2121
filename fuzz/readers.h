#pragma once

// What the targets of a format do with a file: offer it to every function that reads such files,
// and see that nothing outside the rectangle is written.

#include "trellis/trellis.h"

#include "fuzz_file.h"

namespace fuzz {

inline void read_pixar(const std::uint8_t* bytes, std::size_t size) {
    static File file;
    const pic_format& pixar = format<init_pixar_pic_>();
    Steering steering(bytes, size);
    const int width = steering.next(0, 40);
    const int height = steering.next(0, 40);
    const int file_x = steering.next(-40, 20);
    const int file_y = steering.next(-40, 20);
    const char* name = file.with(bytes, size);

    ask(pixar, name, bytes, size);
    Canvas<std::uint8_t> colour(width, height, 4);
    Canvas<std::uint8_t> matte(width, height, 1);
    pixar.load_cut_fn(name, colour.origin(), colour.pitch(), matte.origin(), matte.pitch(), 0, 0,
                      width - 1, height - 1, file_x, file_y);
    colour.check();
    matte.check();
}

template <class Sample>
void load_maya(const char* name, int width, int height, int file_x, int file_y) {
    const bool deep = sizeof(Sample) == 2;
    set_buffer_type_trellis(deep ? 1 : 0);
    Canvas<Sample> colour(width, height, deep ? 3 : 4);
    Canvas<Sample> matte(width, height, 1);
    format<init_maya_pic_>().load_cut_fn(name, colour.origin(), colour.pitch(), matte.origin(),
                                         matte.pitch(), 0, 0, width - 1, height - 1, file_x,
                                         file_y);
    colour.check();
    matte.check();
}

/// Into buffers of both types.
inline void read_maya(const std::uint8_t* bytes, std::size_t size) {
    static File file;
    Steering steering(bytes, size);
    const bool deep = steering.next(0, 1) == 1;
    const int width = steering.next(0, 40);
    const int height = steering.next(0, 40);
    const int file_x = steering.next(-40, 20);
    const int file_y = steering.next(-40, 20);
    const char* name = file.with(bytes, size);

    ask(format<init_maya_pic_>(), name, bytes, size);
    const auto load = deep ? load_maya<std::uint16_t> : load_maya<std::uint8_t>;
    load(name, width, height, file_x, file_y);
}

inline void read_film(const pic_format& format, const std::uint8_t* bytes, std::size_t size) {
    static File file;
    Steering steering(bytes, size);
    const int width = steering.next(0, 40);
    const int height = steering.next(0, 40);
    const int file_x = steering.next(-20, 20);
    const int file_y = steering.next(-20, 20);
    const char* name = file.with(bytes, size);

    ask(format, name, bytes, size);
    unsigned int out[3] = {};
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
    trellis_film_info info{};
    info.size = sizeof info;
    info_film_trellis(name, &info);
    load_film_samples_trellis(name, colour.origin(), colour.pitch(), matte.origin(), matte.pitch(),
                              0, 0, width - 1, height - 1, file_x, file_y);
    colour.check();
    matte.check();

    // What has been loaded, behind the same header.
    static File copy;
    constexpr int bit_sizes[] = {8, 10, 12, 16};
    const trellis_film_save options = {
        sizeof options, static_cast<int>(format.type),    bit_sizes[height % 4], width % 2,
        bytes,          std::min<std::size_t>(size, 2048)};
    save_film_samples_trellis(copy.with(nullptr, 0), colour.origin(), colour.pitch(),
                              matte.origin(), matte.pitch(), 0, 0, width - 1, height - 1, &options);
}

}  // namespace fuzz
