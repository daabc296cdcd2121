#pragma once

// The descriptors behind the formats, and finding the one that a file is in.

#include <span>
#include <string>

#include "trellis/host.hpp"
#include "trellis/pic_format.h"

namespace trellis::host {

/// Every format as its descriptor: the library's, DPX and Cineon with slots that scale their codes,
/// then PNG of either depth, which is filled here. The samples of all 16-bit buffers
/// run from 0 to 16383.
std::span<const pic_format> descriptors();

/// The format of a file that exists: the one whose probe knows its first bytes, else the one whose
/// extension it has. Throws Error.
const pic_format& descriptor_of_file(const std::string& path);

/// The format of a file that is to be written, by its extension; among those with the same
/// extension the one that takes buffers of this depth. Throws Error.
const pic_format& descriptor_for_name(const std::string& path, int depth);

/// The sample bits of the buffers that a format's slots take: 8 or 16.
int native_depth(const pic_format& format);

/// The entry of formats() for one of descriptors().
const Format& format_of(const pic_format& descriptor);

/// Sample bits of the format's files that its information query calls "deep".
int deep_bits(const pic_format& format);

}  // namespace trellis::host
