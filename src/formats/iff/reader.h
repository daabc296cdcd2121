#pragma once

// Loading a rectangle of a Maya IFF file.

#include <cstddef>

#include "frame/error.h"
#include "frame/limits.h"
#include "frame/raster.h"

namespace trellis::iff {

/// The host's buffers. A null one is not wanted.
struct Buffers {
    bool deep = false;  // of 16-bit samples, else of bytes
    void* colour = nullptr;
    int colour_pitch = 0;
    void* matte = nullptr;
    int matte_pitch = 0;

    /// What a pixel takes in those that are given.
    std::size_t pixel_bytes() const {
        const std::size_t colour_bytes = deep ? Colour16::pixel_bytes : Colour8::pixel_bytes;
        const std::size_t matte_bytes = deep ? Matte16::pixel_bytes : Matte8::pixel_bytes;
        return (colour != nullptr ? colour_bytes : 0) + (matte != nullptr ? matte_bytes : 0);
    }
};

/// Loads the tiles that meet `rectangle`. The picture's pixel (0, 0) lands at the rectangle's lower
/// left corner moved by `file_x` and `file_y`. What the file does not carry is not written. After a
/// failure, rows that were complete stay stored.
Error read_maya_pic(const char* name, const Buffers& buffers, const Rectangle& rectangle,
                    int file_x, int file_y, const Limits& limits);

}  // namespace trellis::iff
