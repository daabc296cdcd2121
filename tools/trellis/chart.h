#pragma once

// The test chart: something to look at, and something to find faults with.

#include "pictures.h"

namespace tool {

/// Fills a cutout of any size. Everything scales with the picture, except for the fine detail,
/// which is as fine as its pixels.
void draw_chart(host::Picture& cutout);

}  // namespace tool
