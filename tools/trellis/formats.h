#pragma once

// The formats that the tool handles, and finding the one that a file is in.

#include <span>
#include <string>
#include <vector>

#include "trellis/pic_format.h"

namespace tool {

/// Every format as its descriptor: the library's, then PNG, for which the tool fills one itself.
std::span<const pic_format> formats();

/// The format of a file that exists: the one whose probe knows its first bytes, else the one whose
/// extension it has. Throws FileError.
const pic_format& format_of_file(const std::string& path);

/// The format of a file that is to be written, by its extension. Throws FileError.
const pic_format& format_for_name(const std::string& path);

/// The format's file-name extensions, each once, without dots.
std::vector<std::string> extensions(const pic_format& format);

/// Sample bits of the format's files that its information query calls "deep".
int deep_bits(const pic_format& format);

}  // namespace tool
