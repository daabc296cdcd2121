#pragma once

// The formats that the tool handles, and finding the one that a file is in.

#include <span>
#include <string>
#include <vector>

#include "trellis/pic_format.h"

namespace tool {

/// Every format as its descriptor: the library's, DPX and Cineon with slots that scale their codes,
/// then PNG of either depth, for which the tool fills two itself. The samples of all 16-bit buffers
/// run from 0 to 16383.
std::span<const pic_format> formats();

/// The format of a file that exists: the one whose probe knows its first bytes, else the one whose
/// extension it has. Throws FileError.
const pic_format& format_of_file(const std::string& path);

/// The format of a file that is to be written, by its extension; among those with the same
/// extension the one that takes buffers of this depth. Throws FileError.
const pic_format& format_for_name(const std::string& path, int depth);

/// The sample bits of the buffers that a format's slots take: 8 or 16.
int native_depth(const pic_format& format);

/// The format's file-name extensions, each once, without dots.
std::vector<std::string> extensions(const pic_format& format);

/// Sample bits of the format's files that its information query calls "deep".
int deep_bits(const pic_format& format);

}  // namespace tool
