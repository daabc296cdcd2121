#pragma once

// Changing the depth of rectangles: 8-bit samples to 16-bit ones and back.

#include <cstdint>

#include "convert/layouts.h"
#include "frame/raster.h"

namespace trellis::convert {

/// Convert the extent's pixels from the origin of one view to the origin of the other. Between
/// colour buffers the three colours are converted, and the spare byte is neither read nor written;
/// between cutout buffers all four samples.
void widen(ColourSource8 from, Colour16 to, Extent extent);
void widen(CutoutSource8 from, Cutout16 to, Extent extent);
void widen(MatteSource8 from, Matte16 to, Extent extent);
void narrow(ColourSource16 from, Colour8 to, Extent extent);
void narrow(CutoutSource16 from, Cutout8 to, Extent extent);
void narrow(MatteSource16 from, Matte8 to, Extent extent);

}  // namespace trellis::convert
