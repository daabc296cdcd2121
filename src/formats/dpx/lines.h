#pragma once

// The lines of a film file: whole rectangles of the host's buffers, in either orientation, as runs
// of packed pixels without any padding.

#include <cstdint>

#include "formats/dpx/picture.h"
#include "formats/dpx/pixels.h"
#include "frame/error.h"
#include "frame/file.h"

namespace trellis::dpx {

/// Packs the rectangle and writes its lines at the file's position. For each line the host's
/// progress hook and escape test are called; when the test wants to stop, its value is the result
/// and the line that came up is in the file as a copy of the one before it.
Error pack_lines(OutputFile& file, const Source& source, Orientation orientation);

/// Which part of a file's lines a load wants. Lines and pixels are counted as the file has
/// them.
struct LineRegion {
    Layout layout;
    std::uint64_t pixels_per_line;
    std::uint64_t skip_lines;
    std::uint64_t skip_pixels;
};

/// Unpacks the region that starts at the file's position into the rectangle. A line that is not
/// wholly in the file comes out as zero samples. Error::allocation when the region's first line is
/// farther away than a file can reach, or memory runs out.
Error unpack_lines(InputFile& file, const LineRegion& region, const Target& target,
                   Orientation orientation);

}  // namespace trellis::dpx
