#pragma once

// Making a preview: the picture keeps its proportions and is centred on zeros.

#include "frame/raster.h"
#include "sidedata/minipic_file.h"

namespace trellis::sidedata {

/// The host's buffers, and which of them to read: `source` is a trellis_minipic_source.
struct PictureBuffers {
    const void* rgb;
    const void* alpha;
    const void* cut;
    int pitch;
    int source;
};

/// Draws the rectangle of 8-bit or 16-bit buffers into a preview of zeros. Nothing is drawn when
/// the preview or the rectangle is empty, when a buffer is missing, or when the source is unknown.
/// `least_end` is what the drawn area's right and lower end (exclusive) are raised to.
void draw_preview_8(const PictureBuffers& buffers, const Rectangle& rectangle, int least_end,
                    Preview& preview);
void draw_preview_16(const PictureBuffers& buffers, const Rectangle& rectangle, int least_end,
                     Preview& preview);

}  // namespace trellis::sidedata
