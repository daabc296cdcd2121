#pragma once

// The header chunk of a Maya IFF file and what follows from it. docs/formats/iff.md shows the whole
// layout.

#include <cstddef>
#include <cstdint>

#include "formats/iff/chunks.h"
#include "frame/byte_order.h"
#include "frame/error.h"
#include "frame/file.h"

namespace trellis::iff {

/// The data of the "TBHD" chunk.
struct maya_header {
    be32s width;
    be32s height;
    be32 reserved_8;
    be32 flags;
    be16 reserved_16;
    be16 tiles;
    be32 compression;
    be32 reserved_24[2];

    /// Flag bits other than these two mean nothing.
    static constexpr std::uint32_t colour_flag = 1;
    static constexpr std::uint32_t alpha_flag = 2;

    bool has_colour() const { return (flags & colour_flag) != 0; }
    bool has_alpha() const { return (flags & alpha_flag) != 0; }
    unsigned int channels() const { return (has_colour() ? 3U : 0U) + (has_alpha() ? 1U : 0U); }
};

static_assert(sizeof(maya_header) == 32);
static_assert(offsetof(maya_header, flags) == 12);
static_assert(offsetof(maya_header, compression) == 20);

/// What precedes the pixels in a tile's chunk: its rectangle in the picture, both corners
/// inclusive.
struct tile_header {
    be16 x0;
    be16 y0;
    be16 x1;
    be16 y1;
};

static_assert(sizeof(tile_header) == 8);

/// Reads the header of a file that is at its start, and moves to the chunk after it.
/// Error::unsupported when the file is no picture form, Error::read when it has no whole header.
Error read_maya_header(InputFile& file, maya_header& header);

}  // namespace trellis::iff
