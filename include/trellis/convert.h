#ifndef TRELLIS_CONVERT_H
#define TRELLIS_CONVERT_H

/// Buffers of every depth and shape, and small services around them.

#include <stdint.h>

#include "trellis/export.h"

TRELLIS_BEGIN_DECLS

/// The outline that a cutout gets when its file carries none: the picture's four corner pixels.
typedef struct trellis_outline_point {
    float x;
    float y;
} trellis_outline_point;

/// An outline record of four points, 40 bytes, as cutout-information files store it.
typedef struct trellis_default_outline {
    int32_t point_count;  ///< 4
    int32_t closed;       ///< 1
    trellis_outline_point points[4];
} trellis_default_outline;

/// Fills the 40 bytes at `outline` (a `trellis_default_outline` of any alignment) with the corner
/// pixels (0, 0), (width − 1, 0), (width − 1, height − 1), (0, height − 1), and stores the point
/// half-way between the first and the third as the centre. The origin is not used.
TRELLIS_API void set_default_cutout_outline(void* outline, int origin_x, int origin_y, int width,
                                            int height, float* centre_x, float* centre_y);

TRELLIS_END_DECLS

#endif
