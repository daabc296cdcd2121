// The Maya IFF probe, queries and reader, into buffers of both types.

#include "trellis/trellis.h"

#include "fuzz_file.h"

namespace {

template <class Sample>
void load(const pic_format& maya, const char* name, int width, int height, int file_x, int file_y) {
    const bool deep = sizeof(Sample) == 2;
    set_buffer_type_trellis(deep ? 1 : 0);
    fuzz::Canvas<Sample> colour(width, height, deep ? 3 : 4);
    fuzz::Canvas<Sample> matte(width, height, 1);
    maya.load_cut_fn(name, colour.origin(), colour.pitch(), matte.origin(), matte.pitch(), 0, 0,
                     width - 1, height - 1, file_x, file_y);
    colour.check();
    matte.check();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static fuzz::File file;
    const pic_format& maya = fuzz::format<init_maya_pic_>();
    fuzz::Steering steering(bytes, size);
    const bool deep = steering.next(0, 1) == 1;
    const int width = steering.next(0, 40);
    const int height = steering.next(0, 40);
    const int file_x = steering.next(-40, 20);
    const int file_y = steering.next(-40, 20);
    const char* name = file.with(bytes, size);

    fuzz::ask(maya, name, bytes, size);
    if (deep) {
        load<std::uint16_t>(maya, name, width, height, file_x, file_y);
    } else {
        load<std::uint8_t>(maya, name, width, height, file_x, file_y);
    }
    return 0;
}
