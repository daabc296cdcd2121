// The Maya IFF descriptor. Its slots are still empty.

#include "frame/descriptor.h"

#include "trellis/pic_format.h"

namespace {

using namespace trellis;

constexpr FormatDescription description = {
    .type = TRELLIS_TYPE_MAYA,
    .ext = "iff",
    .ext2 = "iff",
    .long_name = "MAYA(Bitmap)",
    .code_string = "MAYA",
};

}  // namespace

void init_maya_pic_(pic_format* format) {
    fill_descriptor(*format, description);
}
