#pragma once

// The picture in a film file, as its header describes it.

#include <cstddef>
#include <cstdint>

#include "frame/error.h"
#include "frame/raster.h"

namespace trellis::dpx {

/// What a file holds. The numbers are the library's own, shared with its hosts' other code.
enum class Mode { mask = 4, picture = 5, cutout = 6 };

/// How file lines lie in the picture: from its top line downward, or each a column read downward,
/// from its rightmost column to the left.
enum class Orientation { upright = 0, transposed = 5 };

inline Error parse_orientation(unsigned int number, Orientation& orientation) {
    orientation = static_cast<Orientation>(number);
    return orientation == Orientation::upright || orientation == Orientation::transposed
               ? Error::none
               : Error::unsupported;
}

struct Picture {
    Orientation orientation;
    std::uint32_t pixels_per_line;
    std::uint32_t lines;

    std::uint32_t width() const {
        return orientation == Orientation::upright ? pixels_per_line : lines;
    }
    std::uint32_t height() const {
        return orientation == Orientation::upright ? lines : pixels_per_line;
    }
};

/// What a load is to fill, and where it lies in the file's picture, as hosts say it.
struct Target {
    Colour16 colour;
    Matte16 matte;
    Rectangle rectangle;
    int file_x;
    int file_y;

    /// What a pixel takes in the buffers that are given.
    std::size_t pixel_bytes() const { return colour.wanted_bytes() + matte.wanted_bytes(); }
};

/// What a save is to write. The samples of a view without a buffer are saved as 0.
struct Source {
    ColourSource16 colour;
    MatteSource16 matte;
    Rectangle rectangle;
    Mode mode;
    bool scaled = false;  // from 0..16383; else the samples are 10-bit codes
    int bits = 10;        // of the file's samples; 8, 12 or 16 of scaled ones
};

}  // namespace trellis::dpx
