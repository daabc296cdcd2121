#pragma once

// DPX and Cineon beside the other formats. Their slots take and give a file's codes, 0 to 255 or
// 0 to 1023, where all other 16-bit buffers run from 0 to 16383; and a mask is shifted by four bits
// when it is saved, but not when it is loaded. The descriptors made here have slots that scale, so
// that a picture has the same samples whatever format it comes from.

#include <algorithm>
#include <cstdint>

#include "trellis/pic_format.h"

namespace trellis::host {

void init_scaled_dpx_pic(pic_format* format);
void init_scaled_cineon_pic(pic_format* format);

/// A code of 10 or 8 bits as a sample of 0 to 16383, and the code whose sample is nearest to one.
constexpr std::uint16_t sample_of_code(int code) {
    return static_cast<std::uint16_t>(code * 16 + code / 64);
}
constexpr std::uint16_t sample_of_byte(int code) {
    return static_cast<std::uint16_t>(code * 64 + code / 4);
}
constexpr std::uint16_t nearest_code(int sample) {
    return static_cast<std::uint16_t>((std::min(sample, 16383) * 1023 + 8199) >> 14);
}

/// The slots below those of a film descriptor, which leave codes as they are.
const pic_format& code_slots(const pic_format& film);

}  // namespace trellis::host
