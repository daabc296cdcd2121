#pragma once

// PNG files of every sort for the tool's tests, made and read without the tool's own code.

#include <png.h>

#include <string>
#include <vector>

#include "support/support.h"

namespace support {

struct Png {
    int width, height, colour_type, bit_depth;
    Bytes rows;  // top row first, packed as in the file; none for a file that ends before them
    std::vector<png_color> palette = {};
    Bytes transparency = {};  // of the palette's entries, or the one transparent grey
    bool interlaced = false;
};

void write_png(const std::string& path, const Png& png);

/// Red, green, blue and matte of every pixel, top row first; opaque without a matte.
Bytes rgba_of_png(const std::string& path);

}  // namespace support
