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
    static const pic_format maya = [] {
        pic_format format{};
        init_maya_pic_(&format);
        return format;
    }();

    fuzz::Steering steering(bytes, size);
    const bool deep = steering.next(0, 1) == 1;
    const int width = steering.next(0, 40);
    const int height = steering.next(0, 40);
    const int file_x = steering.next(-40, 20);
    const int file_y = steering.next(-40, 20);
    const char* name = file.with(bytes, size);

    unsigned int out[12] = {};
    std::vector<std::uint8_t> header(bytes, bytes + size);
    maya.inq_type_fn(header.data(), static_cast<int>(size), name, 0, &out[0], &out[1]);
    maya.size_mask_fn(name, &out[0], &out[1]);
    maya.info_fn(name, &out[0], &out[1], &out[2], &out[3], &out[4], &out[5], &out[6], &out[7],
                 &out[8], &out[9], &out[10], &out[11]);
    if (deep) {
        load<std::uint16_t>(maya, name, width, height, file_x, file_y);
    } else {
        load<std::uint8_t>(maya, name, width, height, file_x, file_y);
    }
    return 0;
}
