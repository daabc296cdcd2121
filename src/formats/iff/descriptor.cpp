// The Maya IFF descriptor and the slots in it.

#include "frame/descriptor.h"

#include "trellis/pic_format.h"

#include "formats/iff/queries.h"
#include "formats/iff/reader.h"
#include "formats/iff/writer.h"

namespace {

using namespace trellis;

int load_pic(const char* name, void* rgb, int pitch, int x0, int y0, int x1, int y1, int file_x,
             int file_y) {
    const iff::Buffers buffers = {.colour = rgb, .colour_pitch = pitch};
    return code(iff::read_maya_pic(name, buffers, {x0, y0, x1, y1}, file_x, file_y));
}

int load_cut(const char* name, void* rgb, int pitch, void* alpha, int alpha_pitch, int x0, int y0,
             int x1, int y1, int file_x, int file_y) {
    const iff::Buffers buffers = {rgb, pitch, alpha, alpha_pitch};
    return code(iff::read_maya_pic(name, buffers, {x0, y0, x1, y1}, file_x, file_y));
}

int load_mask(const char* name, void* mask, int pitch, int x0, int y0, int x1, int y1, int file_x,
              int file_y) {
    const iff::Buffers buffers = {.matte = mask, .matte_pitch = pitch};
    return code(iff::read_maya_pic(name, buffers, {x0, y0, x1, y1}, file_x, file_y));
}

int save_pic(const char* name, void* rgb, int pitch, int x0, int y0, int x1, int y1, int compress) {
    return code(
        iff::write_maya_pic(name, Colour8(rgb, pitch), Matte8(), {x0, y0, x1, y1}, compress));
}

int save_cut(const char* name, void* rgb, int pitch, void* alpha, int alpha_pitch, int x0, int y0,
             int x1, int y1, int compress) {
    return code(iff::write_maya_pic(name, Colour8(rgb, pitch), Matte8(alpha, alpha_pitch),
                                    {x0, y0, x1, y1}, compress));
}

int save_mask(const char* name, void* mask, int pitch, int x0, int y0, int x1, int y1,
              int compress) {
    return code(
        iff::write_maya_pic(name, Colour8(), Matte8(mask, pitch), {x0, y0, x1, y1}, compress));
}

int depth_supported(int buffer_type) {
    return buffer_type == 0 ? 1 : 0;
}

constexpr FormatDescription description = {
    .type = TRELLIS_TYPE_MAYA,
    .ext = "iff",
    .ext2 = "iff",
    .long_name = "MAYA(Bitmap)",
    .code_string = "MAYA",
    .load_pic_fn = load_pic,
    .save_pic_fn = save_pic,
    .load_cut_fn = load_cut,
    .save_cut_fn = save_cut,
    .size_pic_fn = iff::size_maya,
    .load_mask_fn = load_mask,
    .save_mask_fn = save_mask,
    .size_mask_fn = iff::size_maya,
    .depth_supported_fn = depth_supported,
    .inq_type_fn = iff::inq_maya_type_fn,
    .info_fn = iff::info_maya,
};

}  // namespace

void init_maya_pic_(pic_format* format) {
    fill_descriptor(*format, description);
}
