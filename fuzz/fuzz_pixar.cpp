// The Pixar probe, queries and reader.

#include "trellis/trellis.h"

#include "fuzz_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static fuzz::File file;
    static const pic_format pixar = [] {
        pic_format format{};
        init_pixar_pic_(&format);
        return format;
    }();

    fuzz::Steering steering(bytes, size);
    const int width = steering.next(0, 40);
    const int height = steering.next(0, 40);
    const int file_x = steering.next(-40, 20);
    const int file_y = steering.next(-40, 20);
    const char* name = file.with(bytes, size);

    unsigned int out[12] = {};
    std::vector<std::uint8_t> header(bytes, bytes + size);
    pixar.inq_type_fn(header.data(), static_cast<int>(size), name, 0, &out[0], &out[1]);
    pixar.size_pic_fn(name, &out[0], &out[1]);
    pixar.info_fn(name, &out[0], &out[1], &out[2], &out[3], &out[4], &out[5], &out[6], &out[7],
                  &out[8], &out[9], &out[10], &out[11]);

    fuzz::Canvas<std::uint8_t> colour(width, height, 4);
    fuzz::Canvas<std::uint8_t> matte(width, height, 1);
    pixar.load_cut_fn(name, colour.origin(), colour.pitch(), matte.origin(), matte.pitch(), 0, 0,
                      width - 1, height - 1, file_x, file_y);
    colour.check();
    matte.check();
    return 0;
}
