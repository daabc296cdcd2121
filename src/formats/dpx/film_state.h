#pragma once

// The process-wide words about the last film header read. The exported ones are in trellis/film.h.

#include "trellis/film.h"

/// Transfer characteristic of the last DPX header read; `cineon_transfer` after a Cineon header.
extern int g_iTransfer;

namespace trellis::dpx {

inline constexpr int cineon_transfer = 254;

}  // namespace trellis::dpx
