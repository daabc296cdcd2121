// The C interface, called in any order: settings, saves, loads, wrappers and queries, with the
// state of the process that each call leaves to the next.

#include <array>

#include "trellis/trellis.h"

#include "built_files.h"
#include "fuzz_file.h"

namespace {

constexpr int side = 24;  // of the buffers; rectangles lie inside

// Room for pixels of the largest layout. The address sanitizer sees what is written beyond.
template <int channels>
using Buffer = std::array<std::uint16_t, side * side * channels>;

struct World {
    fuzz::File files[3];
    pic_format formats[4] = {};
    Buffer<4> colour{};
    Buffer<1> matte{};

    World() {
        init_pixar_pic_(&formats[0]);
        init_dpx_pic_(&formats[1]);
        init_smpte_pic_(&formats[2]);
        init_maya_pic_(&formats[3]);
    }
};

// The arguments that most calls take.
struct Arguments {
    const pic_format& format;
    const char* name;
    int x0, y0, x1, y1, file_x, file_y, mode;
    void* colour;
    void* matte;
};

// A wrapper gives a slot buffers of the depth that its mode and the settings say. Hosts know which
// one a slot is for.
void convert(const Arguments& a, int which) {
    const bool deep = a.format.depth_supported_fn(1) == 1;
    const int load_mode = a.mode == 0 ? 0 : deep ? 2 : 1;
    const int save_mode = a.mode == 0 ? 0 : deep ? 1 : 2;
    const auto load_mask = reinterpret_cast<trellis_slot_fn>(a.format.load_pic_fn);
    switch (which) {
        case 0:
            load_pic_fn_convert_trellis(load_mode, a.format.load_pic_fn, a.name, a.colour, side,
                                        a.x0, a.y0, a.x1, a.y1, a.file_x, a.file_y);
            break;
        case 1:
            save_pic_fn_convert_trellis(save_mode, a.format.save_pic_fn, a.name, a.colour, side,
                                        a.x0, a.y0, a.x1, a.y1, 1);
            break;
        case 2:
            load_rgba_fn_convert_trellis(load_mode, a.format.load_cut_fn, a.name, a.colour, side,
                                         a.matte, side, a.x0, a.y0, a.x1, a.y1, a.file_x, a.file_y);
            break;
        case 3:
            load_rgba_inone_fn_convert_trellis(load_mode, a.format.load_pic_fn, a.name, a.colour,
                                               side, a.x0, a.y0, a.x1, a.y1, a.file_x, a.file_y);
            break;
        default:
            set_buffer_type_trellis(deep ? 1 : 0);
            load_mask_fn_convert_trellis(load_mode, 1, load_mask, a.name, a.matte, side, a.x0, a.y0,
                                         a.x1, a.y1, a.file_x, a.file_y);
    }
}

void samples(const Arguments& a, int bits, int scaled) {
    const trellis_film_save options = {
        sizeof options, static_cast<int>(a.format.type), bits, scaled, nullptr, 0};
    save_film_samples_trellis(a.name, a.colour, side, a.matte, side, a.x0, a.y0, a.x1, a.y1,
                              &options);
    load_film_samples_trellis(a.name, a.colour, side, a.matte, side, a.x0, a.y0, a.x1, a.y1,
                              a.file_x, a.file_y);
}

void settings(fuzz::Choices& choices) {
    switch (choices.number(0, 5)) {
        case 0:
            set_buffer_type_trellis(choices.number(0, 2));
            break;
        case 1:
            set_limits_trellis(choices.byte() * 2U, choices.byte() * 8U);
            break;
        case 2:
            set_limits_trellis(0, 0);
            break;
        case 3:
            free_last_header_trellis();
            break;
        case 4:
            realloc_last_header_trellis(choices.number(0, 3000));
            break;
        default: {
            void* header = nullptr;
            int size = 0;
            inq_last_header_trellis(&header, &size);
            for (int i = choices.number(0, 3); i > 0 && size > 0; --i) {
                static_cast<std::uint8_t*>(header)[choices.number(0, 2047) % size] = choices.byte();
            }
        }
    }
}

void call(World& world, fuzz::Choices& choices) {
    Arguments a = {world.formats[choices.number(0, 3)],
                   world.files[choices.number(0, 2)].name(),
                   choices.number(0, side - 1),
                   choices.number(0, side - 1),
                   choices.number(0, side - 1),
                   choices.number(0, side - 1),
                   choices.number(-8, 8),
                   choices.number(-8, 8),
                   choices.number(0, 3),
                   choices.byte() % 16 == 0 ? nullptr : world.colour.data(),
                   choices.byte() % 4 == 0 ? nullptr : world.matte.data()};
    unsigned int out[12] = {};
    switch (choices.number(0, 7)) {
        case 0:
            a.format.save_cut_fn(a.name, a.colour, side, a.matte, side, a.x0, a.y0, a.x1, a.y1,
                                 choices.number(0, 1));
            break;
        case 1:
            a.format.load_cut_fn(a.name, a.colour, side, a.matte, side, a.x0, a.y0, a.x1, a.y1,
                                 a.file_x, a.file_y);
            break;
        case 2:
            a.format.save_pic_fn(a.name, a.colour, side, a.x0, a.y0, a.x1, a.y1, 1);
            break;
        case 3:
            a.format.size_pic_fn(a.name, &out[0], &out[1]);
            a.format.info_fn(a.name, &out[0], &out[1], &out[2], &out[3], &out[4], &out[5], &out[6],
                             &out[7], &out[8], &out[9], &out[10], &out[11]);
            break;
        case 4:
            convert(a, choices.number(0, 4));
            break;
        case 5:
            samples(a, choices.number(4, 8) * 2, choices.number(0, 1));
            break;
        case 6:
            world.files[choices.number(0, 2)].change(choices.number(0, 4000), choices.byte());
            break;
        default:
            settings(choices);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    World world;
    fuzz::Choices choices(bytes, size);
    for (int calls = 0; choices.any_left() && calls < 60; ++calls) {
        call(world, choices);
    }
    set_limits_trellis(0, 0);
    set_buffer_type_trellis(0);
    free_last_header_trellis();
    return 0;
}
