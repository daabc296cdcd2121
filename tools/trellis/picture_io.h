#pragma once

// Pictures from and to files, through the slots of the formats' descriptors.

#include <optional>
#include <string>

#include "trellis/pic_format.h"

#include "picture.h"

namespace tool {

/// What the header of a file says.
struct FileInfo {
    const pic_format* format;
    trellis_kind kind;
    int width;
    int height;
    int channels;
    int depth;  // bits of a sample
    bool compressed;
};

/// An inclusive rectangle of a file's picture, counted from the lower left.
struct Region {
    int x0;
    int y0;
    int x1;
    int y1;
};

struct LoadOptions {
    std::optional<trellis_kind> kind;  // the file's own, if none is asked for
    std::optional<Region> region;      // the whole picture, if none is asked for
    std::optional<int> depth;  // 8 or 16; that of the format's buffers, if none is asked for
};

struct SaveOptions {
    bool compress = true;
    bool force = false;  // replace a file that exists
};

/// All three throw FileError.
FileInfo describe(const std::string& path);
Picture load_picture(const std::string& path, const LoadOptions& options);
void save_picture(const Picture& picture, const std::string& path, const SaveOptions& options);

}  // namespace tool
