// The Pixar descriptor and the slots in it.

#include "frame/descriptor.h"

#include "trellis/pic_format.h"

#include "formats/pixar/header.h"
#include "formats/pixar/queries.h"
#include "formats/pixar/reader.h"
#include "formats/pixar/writer.h"

namespace {

using namespace trellis;

int load_pic(const char* name, void* rgb, int pitch, int x0, int y0, int x1, int y1, int file_x,
             int file_y) {
    std::uint16_t format = 0;
    return code(pixar::load_pixar(name, Colour8(rgb, pitch), Matte8(), {x0, y0, x1, y1}, file_x,
                                  file_y, format));
}

int load_cut(const char* name, void* rgb, int pitch, void* alpha, int alpha_pitch, int x0, int y0,
             int x1, int y1, int file_x, int file_y) {
    std::uint16_t format = 0;
    return code(pixar::load_pixar(name, Colour8(rgb, pitch), Matte8(alpha, alpha_pitch),
                                  {x0, y0, x1, y1}, file_x, file_y, format));
}

int save_pic(const char* name, void* rgb, int pitch, int x0, int y0, int x1, int y1, int compress) {
    return code(pixar::save_pixar(name, Colour8(rgb, pitch), Matte8(), {x0, y0, x1, y1},
                                  compress != 0, pixar::image_format));
}

int save_cut(const char* name, void* rgb, int pitch, void* alpha, int alpha_pitch, int x0, int y0,
             int x1, int y1, int compress) {
    return code(pixar::save_pixar(name, Colour8(rgb, pitch), Matte8(alpha, alpha_pitch),
                                  {x0, y0, x1, y1}, compress != 0, pixar::cutout_format));
}

int depth_supported(int buffer_type) {
    return buffer_type == 0 ? 1 : 0;
}

constexpr FormatDescription description = {
    .type = TRELLIS_TYPE_PIXAR,
    .ext = "pic",
    .long_name = "Pixar",
    .code_string = "PIXAR",
    .load_pic_fn = load_pic,
    .save_pic_fn = save_pic,
    .load_cut_fn = load_cut,
    .save_cut_fn = save_cut,
    .size_pic_fn = pixar::size_pixar,
    .depth_supported_fn = depth_supported,
    .inq_type_fn = pixar::inq_pixar_type_fn,
    .info_fn = pixar::info_pixar,
};

}  // namespace

void init_pixar_pic_(pic_format* format) {
    fill_descriptor(*format, description);
}
