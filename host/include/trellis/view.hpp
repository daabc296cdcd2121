#pragma once

/// Pictures for people to look at, and for programs that show them: smaller ones, film scans as a
/// screen would have them, and rows in the order that most programs know.

#include <cstdint>

#include "trellis/host.hpp"

namespace trellis::host {

/// A size in pixels.
struct Extent {
    int width;   ///< in pixels
    int height;  ///< in rows

    /// Both are the same.
    bool operator==(const Extent&) const = default;
};

/// The largest extent with the proportions of a picture that fits into a box, at least a pixel wide
/// and high. Small pictures keep their extent.
Extent fitted(Extent picture, Extent box);

/// The picture with another extent, at the same depth. A pixel is the mean of the area of the
/// picture that it covers, in which colours count as much as their matte is opaque. Throws
/// std::bad_alloc.
Picture scaled(const Picture& picture, Extent extent);

/// Loads a picture, or a region of it, and scales it, a band of rows at a time: memory is bounded
/// by the extent and the width, whatever the height. Throws Error.
Picture load_scaled(const std::string& path, Extent extent, const LoadOptions& options = {});

/// Likewise, to the largest extent that fits into a box (`fitted`).
Picture load_fitted(const std::string& path, Extent box, const LoadOptions& options = {});

/// A small picture, of 8 bits, to stand for a file: its preview, if it has one that is not older;
/// or the catalogue picture inside it; or what load_fitted gives, when these are less than half as
/// wide or high. Throws Error for every file that `load` refuses.
Picture load_thumbnail(const std::string& path, Extent box);

/// Gives the colours of a film scan the look of a print on a screen. A scan's 10-bit code counts
/// printing density, 0.002 a step; a negative whose contrast is 0.6 turns ten times the light into
/// a density of 0.6. So light is 10 ^ ((code - 685) * 0.002 / 0.6), of which code 685 is white, 1,
/// and code 95 black; what is left after black is taken away and white kept is shown by a screen
/// whose light goes with the power 2.2 of the sample. For looking only: what is brighter than white
/// is gone.
void view_log(Picture& picture);

/// Samples of a pixel in a row: red, green, blue, of a cutout then the matte; of a mask it alone.
int samples_of_row(const Picture& picture);

/// Copies a row of a picture, of which row 0 is the top line. Words have their full range, 0 to
/// 65535; of a deep picture, bytes are the nearest.
void get_row(const Picture& picture, int row, std::uint8_t* to);
/// Likewise in words.
void get_row(const Picture& picture, int row, std::uint16_t* to);

/// Stores a row in an 8-bit picture.
void set_row(Picture& picture, int row, const std::uint8_t* from);
/// Stores a row in a 16-bit picture.
void set_row(Picture& picture, int row, const std::uint16_t* from);

}  // namespace trellis::host
