#include "film_slots.h"

#include "trellis/film.h"

namespace trellis::host {

namespace {

int load_pic(const char* name, void* rgb, int pitch, int x0, int y0, int x1, int y1, int file_x,
             int file_y) {
    return load_film_samples_trellis(name, rgb, pitch, nullptr, 0, x0, y0, x1, y1, file_x, file_y);
}

int load_mask(const char* name, void* mask, int pitch, int x0, int y0, int x1, int y1, int file_x,
              int file_y) {
    return load_film_samples_trellis(name, nullptr, 0, mask, pitch, x0, y0, x1, y1, file_x, file_y);
}

void scale_loads(pic_format* format) {
    format->load_pic_fn = load_pic;
    format->load_cut_fn = load_film_samples_trellis;
    format->load_mask_fn = load_mask;
}

pic_format filled_by(void (*init)(pic_format*)) {
    pic_format filled{};
    init(&filled);
    return filled;
}

}  // namespace

void init_scaled_dpx_pic(pic_format* format) {
    init_dpx_pic_(format);
    scale_loads(format);
}

void init_scaled_cineon_pic(pic_format* format) {
    init_smpte_pic_(format);
    scale_loads(format);
}

const pic_format& code_slots(const pic_format& film) {
    static const pic_format dpx = filled_by(init_dpx_pic_);
    static const pic_format cineon = filled_by(init_smpte_pic_);
    return film.type == TRELLIS_TYPE_DPX ? dpx : cineon;
}

}  // namespace trellis::host
