#include "frame/descriptor.h"

#include <cstring>

namespace trellis {

namespace {

// The record's own copies are what hosts and extension tests go by.
void copy_extension(char (&copy)[128], const char* extension) {
    std::strncpy(copy, extension, sizeof copy - 1);
    copy[sizeof copy - 1] = '\0';
}

}  // namespace

void fill_descriptor(pic_format& record, const FormatDescription& format) {
    const trellis_load_cutout_fn load_cutout_fn = record.load_cutout_fn;
    const trellis_save_cutout_fn save_cutout_fn = record.save_cutout_fn;
    record = {};
    record.load_cutout_fn = load_cutout_fn;
    record.save_cutout_fn = save_cutout_fn;

    record.type = format.type;
    record.flag_1 = record.flag_2 = 1;
    record.ext = format.ext;
    record.ext2 = format.ext2;
    record.ext3 = "";
    copy_extension(record.ext_copy, record.ext);
    copy_extension(record.ext2_copy, record.ext2);
    copy_extension(record.ext3_copy, record.ext3);
    record.long_name = format.long_name;
    record.code_string = format.code_string;

    record.load_pic_fn = format.load_pic_fn;
    record.save_pic_fn = format.save_pic_fn;
    record.load_cut_fn = format.load_cut_fn;
    record.save_cut_fn = format.save_cut_fn;
    record.size_pic_fn = format.size_pic_fn;
    record.load_mask_fn = format.load_mask_fn;
    record.save_mask_fn = format.save_mask_fn;
    record.size_mask_fn = format.size_mask_fn;
    record.load_cat_fn = format.load_cat_fn;
    record.depth_supported_fn = format.depth_supported_fn;
    record.inq_type_fn = format.inq_type_fn;
    record.info_fn = format.info_fn;
}

}  // namespace trellis
