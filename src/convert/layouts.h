#pragma once

// Rectangles that two views share.

#include <cstddef>
#include <cstdint>

namespace trellis::convert {

/// How many pixels a conversion covers.
struct Extent {
    std::int64_t width;
    std::int64_t height;
};

/// Calls `row` for each row that two views share. Nothing to do is nothing done.
template <class From, class To, class Row>
void each_row(From from, To to, Extent extent, Row row) {
    if (extent.width < 1) {
        return;
    }
    for (std::int64_t y = 0; y < extent.height; ++y) {
        row(from.pixel(0, y), to.pixel(0, y), static_cast<std::size_t>(extent.width));
    }
}

}  // namespace trellis::convert
