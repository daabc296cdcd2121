// The DPX and Cineon descriptors. Their slots are still empty.

#include "frame/descriptor.h"

#include "trellis/pic_format.h"

namespace {

using namespace trellis;

constexpr FormatDescription dpx_description = {
    .type = TRELLIS_TYPE_DPX,
    .ext = "dpx",
    .ext2 = "dpx",
    .long_name = "DPX(10bit)",
    .code_string = "DPX",
};

constexpr FormatDescription cineon_description = {
    .type = TRELLIS_TYPE_CINEON,
    .ext = "cin",
    .ext2 = "cin",
    .long_name = "Kodak(10bit)",
    .code_string = "SMPTE",
};

}  // namespace

void init_dpx_pic_(pic_format* format) {
    fill_descriptor(*format, dpx_description);
}

void init_smpte_pic_(pic_format* format) {
    fill_descriptor(*format, cineon_description);
}
