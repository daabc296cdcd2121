#include "frame/descriptor.h"

namespace trellis {

void fill_descriptor(pic_format& record, const pic_format& format) {
    const trellis_load_cutout_fn load_cutout_fn = record.load_cutout_fn;
    const trellis_save_cutout_fn save_cutout_fn = record.save_cutout_fn;
    record = format;
    record.load_cutout_fn = load_cutout_fn;
    record.save_cutout_fn = save_cutout_fn;
}

}  // namespace trellis
