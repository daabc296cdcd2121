#pragma once

// DPX and Cineon beside the other formats. Their slots take and give 10-bit codes, 0 to 1023, where
// all other 16-bit buffers run from 0 to 16383; and a mask is shifted by four bits when it is
// saved, but not when it is loaded. The descriptors made here have slots that scale, so that a
// picture has the same samples whatever format it comes from.

#include <cstdint>

#include "trellis/pic_format.h"

namespace trellis::host {

void init_scaled_dpx_pic(pic_format* format);
void init_scaled_cineon_pic(pic_format* format);

/// A code as a sample of 0 to 16383, and the code whose sample is nearest to one.
constexpr std::uint16_t sample_of_code(int code) {
    return static_cast<std::uint16_t>(code * 16 + code / 64);
}
std::uint16_t nearest_code(int sample);

}  // namespace trellis::host
