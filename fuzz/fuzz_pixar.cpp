// The Pixar probe, queries and reader.

#include "trellis/trellis.h"

#include "fuzz_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static fuzz::File file;
    const pic_format& pixar = fuzz::format<init_pixar_pic_>();
    fuzz::Steering steering(bytes, size);
    const int width = steering.next(0, 40);
    const int height = steering.next(0, 40);
    const int file_x = steering.next(-40, 20);
    const int file_y = steering.next(-40, 20);
    const char* name = file.with(bytes, size);

    fuzz::ask(pixar, name, bytes, size);

    fuzz::Canvas<std::uint8_t> colour(width, height, 4);
    fuzz::Canvas<std::uint8_t> matte(width, height, 1);
    pixar.load_cut_fn(name, colour.origin(), colour.pitch(), matte.origin(), matte.pitch(), 0, 0,
                      width - 1, height - 1, file_x, file_y);
    colour.check();
    matte.check();
    return 0;
}
