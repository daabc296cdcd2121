#pragma once

// Rows of pixels between the file's planes or samples and the host's buffers.

#include <cstddef>
#include <cstdint>

#include "frame/raster.h"

namespace trellis::iff {

/// One pixel of a row, as raw tiles with four channels hold it. A channel that the file does not
/// carry is 0.
struct Pixel {
    std::uint8_t alpha = 0;
    std::uint8_t blue = 0;
    std::uint8_t green = 0;
    std::uint8_t red = 0;
};

static_assert(sizeof(Pixel) == 4, "a row of pixels has the layout of raw four-channel samples");

/// Rows are handled in pieces of this many pixels, which stay in the nearest cache between a pass
/// and the next.
inline constexpr std::size_t piece_pixels = 1024;

/// The planes of a tile from one of its pixels on, rows `pitch` bytes apart. A null plane holds
/// zeros; the colours are all there or none.
struct Planes {
    const std::uint8_t* alpha = nullptr;
    const std::uint8_t* blue = nullptr;
    const std::uint8_t* green = nullptr;
    const std::uint8_t* red = nullptr;
    std::size_t pitch = 0;

    /// The planes from a later pixel on.
    Planes from(std::size_t x, std::size_t y) const {
        const auto at = [&](const std::uint8_t* plane) {
            return plane == nullptr ? nullptr : plane + y * pitch + x;
        };
        return {at(alpha), at(blue), at(green), at(red), pitch};
    }
};

/// Planes to pixels of one row.
void join_planes(const Planes& planes, std::size_t count, Pixel* row);

/// Planes to the host's 8-bit buffers, which are given from the tile's first pixel on: what
/// join_planes() and store_row() would do to each row.
void store_planes(const Planes& planes, std::size_t width, std::size_t height,
                  const Colour8& colour, const Matte8& matte);

/// Raw three-channel samples (blue, green, red) to pixels without alpha.
void expand_colour(const std::uint8_t* samples, std::size_t count, Pixel* row);

/// The host's 8-bit colour pixels to raw three-channel samples.
void pack_colour(const std::uint8_t* colour, std::size_t count, std::uint8_t* samples);

/// Stores a row into the host's 8-bit buffers: bytes 1, 2 and 3 of each colour pixel, whose byte 0
/// keeps its value, and the matte bytes. Either buffer may be null.
void store_row(const Pixel* row, std::size_t count, std::uint8_t* colour, std::uint8_t* matte);

/// The same for 16-bit buffers: three words a colour pixel, samples widened to 0..16383.
void store_row(const Pixel* row, std::size_t count, std::uint16_t* colour, std::uint16_t* matte);

/// The host's 8-bit buffers to pixels. The channels of a null buffer become 0.
void gather_row(const std::uint8_t* colour, const std::uint8_t* matte, std::size_t count,
                Pixel* row);

/// One byte (0 to 3) out of each four-byte pixel.
void extract_plane(const std::uint8_t* pixels, std::size_t byte, std::size_t count,
                   std::uint8_t* plane);

}  // namespace trellis::iff
