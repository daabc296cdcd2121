#pragma once

// The minipic file, as one call writes or reads it. docs/formats/mpc.md shows the layout.

#include <cstddef>
#include <cstdint>

#include "frame/byte_order.h"
#include "frame/error.h"
#include "frame/memory.h"

namespace trellis::sidedata {

inline constexpr char minipic_suffix[] = ".mpc";

/// The start of the file.
struct mpc_header {
    le32s word_1;
    le32s word_2;
    le32s header_size;  // where the first record starts
    le32s picture_count;
    le32s source;
};

/// Before each preview's pixels.
struct mpc_record {
    le32s header_size;  // where the pixels start, from the record's start
    le32s width;
    le32s height;
    le32s byte_count;
};

/// A preview's pixel, in the order of an 8-bit cutout's.
struct MinipicPixel {
    std::uint8_t matte;
    std::uint8_t blue;
    std::uint8_t green;
    std::uint8_t red;
};

static_assert(sizeof(mpc_header) == 20);
static_assert(sizeof(mpc_record) == 16);
static_assert(sizeof(MinipicPixel) == 4);

/// A record and its pixels.
struct Preview {
    mpc_record record{};
    Block<MinipicPixel> pixels;
};

}  // namespace trellis::sidedata
