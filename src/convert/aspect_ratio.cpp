// The shape of a video picture's pixels, told from its size.

#include "trellis/convert.h"

float guess_aspect_ratio_pic(int width, int height) {
    // Square-pixel widths of the two television systems, by their line counts.
    switch (height) {
        case 576:
            return 768.0F / static_cast<float>(width);
        case 486:
            return 648.0F / static_cast<float>(width);
        default:
            return 1.0F;
    }
}
