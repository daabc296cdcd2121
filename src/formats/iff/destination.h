#pragma once

// The host's buffers as a place for the file's pixels, whatever their depth.

#include <cstddef>
#include <cstdint>

#include "formats/iff/header.h"
#include "formats/iff/reader.h"
#include "frame/raster.h"
#include "pixels/kernels.h"

namespace trellis::iff {

/// Rows are handled in pieces of this many pixels, which stay in the nearest cache between a pass
/// and the next.
inline constexpr std::size_t piece_pixels = 1024;

/// Takes pixels by their place in the file's picture. Its rows run upward from the bottom line, as
/// the host's do.
class Destination {
  public:
    Destination(const Buffers& buffers, const maya_header& header, const Rectangle& rectangle,
                int file_x, int file_y);

    /// The part of the file's picture that is wanted.
    const Rectangle& wanted() const { return wanted_; }

    /// Stores 8-bit cutout pixels of one row.
    void store(const std::uint8_t* cutout, std::size_t count, std::int64_t x, std::int64_t y) const;

    /// Stores a rectangle of the picture, whose planes start at its first pixel.
    void store(const pixels::Planes& planes, const Rectangle& part) const;

  private:
    bool deep_;
    std::int64_t move_x_;
    std::int64_t move_y_;
    Rectangle wanted_;
    // Those of the right depth, without a buffer where nothing is to be stored.
    Colour8 colour8_;
    Colour16 colour16_;
    Matte8 matte8_;
    Matte16 matte16_;
};

}  // namespace trellis::iff
