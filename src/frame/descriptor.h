#pragma once

// A format's descriptor: one constant record, which hosts get copies of.

#include <cstddef>
#include <string_view>

#include "trellis/pic_format.h"

namespace trellis {

/// A record with everything but slots. The copies of the extensions are what extension tests go by.
constexpr pic_format name_format(trellis_format_type type, const char* extension,
                                 const char* extension_2, const char* long_name,
                                 const char* code_string) {
    pic_format format{};
    format.type = type;
    format.flag_1 = format.flag_2 = 1;
    format.ext = extension;
    format.ext2 = extension_2;
    format.ext3 = "";
    std::string_view(format.ext).copy(format.ext_copy, sizeof format.ext_copy - 1);
    std::string_view(format.ext2).copy(format.ext2_copy, sizeof format.ext2_copy - 1);
    format.long_name = long_name;
    format.code_string = code_string;
    return format;
}

/// Fills the host's record. `load_cutout_fn` and `save_cutout_fn` stay as the host had them.
void fill_descriptor(pic_format& record, const pic_format& format);

}  // namespace trellis
