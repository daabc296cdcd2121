#pragma once

// The host's buffers as a place for the file's pixels, whatever their depth.

#include <cstddef>
#include <cstdint>

#include "formats/iff/header.h"
#include "formats/iff/pixels.h"
#include "formats/iff/reader.h"
#include "frame/raster.h"

namespace trellis::iff {

/// Takes pixels by their place in the file's picture. Its rows run upward from the bottom line, as
/// the host's do.
class Destination {
  public:
    Destination(const Buffers& buffers, const maya_header& header, const Rectangle& rectangle,
                int file_x, int file_y);

    /// The part of the file's picture that is wanted.
    const Rectangle& wanted() const { return wanted_; }

    /// Stores pixels of one row.
    void store(const Pixel* pixels, std::size_t count, std::int64_t x, std::int64_t y) const;

    /// Stores a rectangle of the picture, whose planes start at its first pixel.
    void store(const Planes& planes, const Rectangle& part) const;

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
