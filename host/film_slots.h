#pragma once

// DPX and Cineon beside the other formats. Their load slots give a file's codes as they are; those
// of the descriptors made here give samples of 0 to 16383 whatever the file's bit size, so that a
// picture has the same samples from every format.

#include "trellis/pic_format.h"

namespace trellis::host {

void init_scaled_dpx_pic(pic_format* format);
void init_scaled_cineon_pic(pic_format* format);

/// The format's own descriptor, whose slots leave codes as they are.
const pic_format& code_slots(const pic_format& film);

}  // namespace trellis::host
