// The DPX and Cineon descriptors and the slots in them.

#include "frame/descriptor.h"

#include "trellis/film.h"
#include "trellis/pic_format.h"

#include "formats/dpx/catalogue.h"
#include "formats/dpx/queries.h"
#include "formats/dpx/reader.h"
#include "formats/dpx/writer.h"

namespace {

using namespace trellis;
using dpx::Mode;

// Both formats have the same slots, around a load and a save of their own.
using Load = Error (*)(const char*, Colour16, Matte16, const Rectangle&, int, int);
using Save = Error (*)(const char*, Colour16, Matte16, const Rectangle&, Mode);

template <Load load>
int load_pic(const char* name, void* rgb, int pitch, int x0, int y0, int x1, int y1, int file_x,
             int file_y) {
    return code(load(name, Colour16(rgb, pitch), Matte16(), {x0, y0, x1, y1}, file_x, file_y));
}

template <Load load>
int load_cut(const char* name, void* rgb, int pitch, void* alpha, int alpha_pitch, int x0, int y0,
             int x1, int y1, int file_x, int file_y) {
    return code(load(name, Colour16(rgb, pitch), Matte16(alpha, alpha_pitch), {x0, y0, x1, y1},
                     file_x, file_y));
}

template <Load load>
int load_mask(const char* name, void* mask, int pitch, int x0, int y0, int x1, int y1, int file_x,
              int file_y) {
    return code(load(name, Colour16(), Matte16(mask, pitch), {x0, y0, x1, y1}, file_x, file_y));
}

// The formats have no compressed storage.
template <Save save>
int save_pic(const char* name, void* rgb, int pitch, int x0, int y0, int x1, int y1,
             int /*compress*/) {
    return code(save(name, Colour16(rgb, pitch), Matte16(), {x0, y0, x1, y1}, Mode::picture));
}

template <Save save>
int save_cut(const char* name, void* rgb, int pitch, void* alpha, int alpha_pitch, int x0, int y0,
             int x1, int y1, int /*compress*/) {
    return code(save(name, Colour16(rgb, pitch), Matte16(alpha, alpha_pitch), {x0, y0, x1, y1},
                     Mode::cutout));
}

template <Save save>
int save_mask(const char* name, void* mask, int pitch, int x0, int y0, int x1, int y1,
              int /*compress*/) {
    return code(save(name, Colour16(), Matte16(mask, pitch), {x0, y0, x1, y1}, Mode::mask));
}

int load_dpx_catalogue(const char* /*name*/, void* /*buffer*/, int /*capacity*/,
                       unsigned int* /*width*/, unsigned int* /*height*/,
                       unsigned int* /*present*/) {
    return code(Error::no_catalogue);
}

int depth_supported(int buffer_type) {
    return buffer_type == 1 ? 1 : 0;
}

constexpr FormatDescription dpx_description = {
    .type = TRELLIS_TYPE_DPX,
    .ext = "dpx",
    .ext2 = "dpx",
    .long_name = "DPX(10bit)",
    .code_string = "DPX",
    .load_pic_fn = load_pic<dpx::load_dpx>,
    .save_pic_fn = save_pic<dpx::save_dpx>,
    .load_cut_fn = load_cut<dpx::load_dpx>,
    .save_cut_fn = save_cut<dpx::save_dpx>,
    .size_pic_fn = dpx::size_dpx,
    .load_mask_fn = load_mask<dpx::load_dpx>,
    .save_mask_fn = save_mask<dpx::save_dpx>,
    .size_mask_fn = dpx::size_dpx,
    .load_cat_fn = load_dpx_catalogue,
    .depth_supported_fn = depth_supported,
    .inq_type_fn = inq_dpx_type_fn_,
    .info_fn = dpx::info_dpx,
};

constexpr FormatDescription cineon_description = {
    .type = TRELLIS_TYPE_CINEON,
    .ext = "cin",
    .ext2 = "cin",
    .long_name = "Kodak(10bit)",
    .code_string = "SMPTE",
    .load_pic_fn = load_pic<dpx::load_smpte>,
    .save_pic_fn = save_pic<dpx::save_smpte>,
    .load_cut_fn = load_cut<dpx::load_smpte>,
    .save_cut_fn = save_cut<dpx::save_smpte>,
    .size_pic_fn = dpx::size_smpte,
    .load_mask_fn = load_mask<dpx::load_smpte>,
    .save_mask_fn = save_mask<dpx::save_smpte>,
    .size_mask_fn = dpx::size_smpte,
    .load_cat_fn = dpx::load_smpte_catalogue,
    .depth_supported_fn = depth_supported,
    .inq_type_fn = inq_smpte_type_fn,
    .info_fn = dpx::info_smpte,
};

}  // namespace

void init_dpx_pic_(pic_format* format) {
    fill_descriptor(*format, dpx_description);
}

void init_smpte_pic_(pic_format* format) {
    fill_descriptor(*format, cineon_description);
}
