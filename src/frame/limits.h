#pragma once

// How large a picture a load may meet.

#include <cstdint>

#include "frame/error.h"

namespace trellis {

/// What a host allows the whole picture to have, whatever rectangle is loaded; 0 allows anything.
struct Limits {
    std::uint64_t pixels = 0;
    std::uint64_t bytes = 0;

    /// Error::allocation for a picture beyond them. `pixel_bytes` counts what a pixel takes in the
    /// host's buffers; sizes below 1 are pictures without pixels.
    Error check(std::int64_t width, std::int64_t height, std::uint64_t pixel_bytes) const {
        if (width < 1 || height < 1) {
            return Error::none;
        }
        const std::uint64_t area =  // film sizes have 32 bits, others fewer
            static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height);
        const bool too_many = pixels != 0 && area > pixels;
        const bool too_large = bytes != 0 && pixel_bytes != 0 && area > bytes / pixel_bytes;
        return too_many || too_large ? Error::allocation : Error::none;
    }
};

}  // namespace trellis
