// The outline of a cutout whose file carries none.

#include <cstdint>
#include <cstring>

#include "trellis/convert.h"

static_assert(sizeof(trellis_default_outline) == 40);

void set_default_cutout_outline(void* outline, int /*origin_x*/, int /*origin_y*/, int width,
                                int height, float* centre_x, float* centre_y) {
    const auto right = static_cast<float>(std::int64_t{width} - 1);
    const auto top = static_cast<float>(std::int64_t{height} - 1);
    const trellis_default_outline corners = {
        .point_count = 4,
        .closed = 1,
        .points = {{0, 0}, {right, 0}, {right, top}, {0, top}},
    };
    std::memcpy(outline, &corners, sizeof corners);
    *centre_x = (corners.points[0].x + corners.points[2].x) * 0.5F;
    *centre_y = (corners.points[0].y + corners.points[2].y) * 0.5F;
}
