#pragma once

// What a film header says to the process-wide words of trellis/film.h.

#include <optional>

namespace trellis {

/// The transfer characteristic that stands for Cineon data.
inline constexpr int cineon_transfer = 254;

/// The words that reading a header changes. An empty one keeps its value.
struct FilmWords {
    std::optional<int> swap = {};
    std::optional<int> bit_depth = {};
    std::optional<int> transfer = {};
};

}  // namespace trellis
