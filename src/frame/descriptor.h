#pragma once

// Filling a host's format descriptor.

#include "trellis/pic_format.h"

namespace trellis {

/// What sets one format's descriptor apart. A slot that is not named is one that the format does
/// not offer.
struct FormatDescription {
    trellis_format_type type;
    const char* ext;
    const char* ext2 = "";
    const char* long_name;
    const char* code_string;
    trellis_load_pic_fn load_pic_fn = nullptr;
    trellis_save_pic_fn save_pic_fn = nullptr;
    trellis_load_cut_fn load_cut_fn = nullptr;
    trellis_save_cut_fn save_cut_fn = nullptr;
    trellis_size_fn size_pic_fn = nullptr;
    trellis_load_mask_fn load_mask_fn = nullptr;
    trellis_save_mask_fn save_mask_fn = nullptr;
    trellis_size_fn size_mask_fn = nullptr;
    trellis_load_cat_fn load_cat_fn = nullptr;
    trellis_depth_supported_fn depth_supported_fn = nullptr;
    trellis_inq_type_fn inq_type_fn = nullptr;
    trellis_info_fn info_fn = nullptr;
};

/// Fills the host's record. `load_cutout_fn` and `save_cutout_fn` stay as the host had them.
void fill_descriptor(pic_format& record, const FormatDescription& format);

}  // namespace trellis
