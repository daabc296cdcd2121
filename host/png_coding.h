#pragma once

// How the rows of a PNG file are coded. What is quick and small depends on the picture: film codes
// in 16 bits repeat as they are, where differences of them do not; grain repeats nowhere, and
// searching it costs six times as long as coding it. So a few rows are coded in each way before all
// of them are.

#include <cstddef>
#include <functional>
#include <vector>

namespace trellis::host {

struct PngCoding {
    int filter;    // of libpng
    int level;     // of zlib
    int strategy;  // of zlib
};

/// The coding that makes the least of some rows of a picture. `row(y, bytes)` has to fill in a row.
/// A level of 1 to 9 takes that much time over it whatever the picture, 0 chooses that too.
PngCoding choose_png_coding(std::size_t height, std::size_t row_bytes, int level,
                            const std::function<void(std::size_t y, unsigned char* bytes)>& row);

}  // namespace trellis::host
