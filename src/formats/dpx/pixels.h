#pragma once

// Pixels between the packed bytes of a film file and the host's 16-bit buffers.

#include <cstddef>
#include <cstdint>

#include "formats/dpx/picture.h"
#include "frame/raster.h"
#include "pixels/film_layout.h"

namespace trellis::dpx {

using Layout = pixels::FilmLayout;
using pixels::pixel_size;

/// The layout that a save uses.
constexpr Layout saved_layout(Mode mode) {
    switch (mode) {
        case Mode::mask:
            return Layout::mask10;
        case Mode::cutout:
            return Layout::cutout10;
        default:
            return Layout::colour10;
    }
}

/// Bytes per pixel of a save.
std::size_t saved_pixel_size(const Source& source);

/// The bytes of a saved image, as far as a 32-bit header field can tell them.
std::uint32_t image_size(const Source& source);

/// What pixels that are not in the file load as: zero samples. Either buffer may be null.
void clear_pixels(std::size_t count, std::uint16_t* colour, std::uint16_t* matte);

/// Packs `count` pixels as `source` wants them, of 10 bits in the layout of its mode. The samples
/// of a null buffer are packed as 0. Codes keep the bits that their field holds; those of a mask
/// are first shifted down by four. Scaled samples are rounded to nearest, after those above full
/// scale have been cut off to it.
void pack_pixels(const Source& source, const std::uint16_t* colour, const std::uint16_t* matte,
                 std::size_t count, std::uint8_t* bytes);

}  // namespace trellis::dpx
