/* Convert wrappers at work: a host with 16-bit cutouts in one buffer, and formats with 8-bit
   samples and shapes of their own. */

#include <stdio.h>
#include <stdlib.h>
#include <trellis/trellis.h>

typedef trellis_slot_fn slot;

enum { width = 16, height = 8, white = 16383 };

static unsigned short cutout[height][width][4]; /* matte, blue, green, red; row 0 is the bottom */
static unsigned short loaded[height][width][4];
static unsigned char mask[height][width];
static unsigned char loaded_mask[height][width];

static void check(int held, const char* what) {
    if (!held) {
        fprintf(stderr, "buffers: %s\n", what);
        exit(1);
    }
}

int main(int argc, char** argv) {
    const char* picture = argc > 1 ? argv[1] : "buffers.pic";
    const char* grey = argc > 2 ? argv[2] : "buffers.iff";
    unsigned int w = width, h = height, ignored[7];
    float real[4];
    trellis_default_outline outline;
    pic_format pixar = {0}, maya = {0};
    int x, y;

    init_pixar_pic_(&pixar);
    init_maya_pic_(&maya);
    for (y = 0; y < height; ++y)
        for (x = 0; x < width; ++x) {
            cutout[y][x][0] = white;
            cutout[y][x][1] = cutout[y][x][2] = cutout[y][x][3] = x > y ? white : 0;
        }

    /* A 16-bit cutout as a Pixar cutout, narrowed on the way, and back. */
    check(save_cut_fn_convert_trellis(2, 2, (slot)pixar.save_cut_fn, picture, width, height, 0, 0,
                                      0, 1, 0, NULL, 0, cutout, 3, 0, 0, 0, 0) == 0,
          "save a cutout");
    check(load_cut_fn_convert_trellis(1, 2, (slot)pixar.load_cut_fn, picture, &w, &h, &ignored[0],
                                      &ignored[1], &real[0], &real[1], &real[2], &real[3],
                                      &ignored[2], &ignored[3], &ignored[4], &outline, &ignored[5],
                                      loaded, &ignored[6]) == 0,
          "load a cutout");
    for (y = 0; y < height; ++y)
        for (x = 0; x < width; ++x)
            check(loaded[y][x][0] == white && loaded[y][x][3] == cutout[y][x][3],
                  "the same pixels");

    /* The brightness of the picture as an 8-bit mask, and that as a mask file and as a matte. */
    check(load_mask_fn_convert_trellis(0, 1, (slot)pixar.load_pic_fn, picture, mask, width, 0, 0,
                                       width - 1, height - 1, 0, 0) == 0,
          "load the brightness");
    check(mask[0][1] == 255 && mask[1][1] == 0, "white and black");
    check(save_mask_fn_convert_trellis(0, 3, (slot)maya.save_mask_fn, grey, mask, width, 0, 0,
                                       width - 1, height - 1, 1) == 0,
          "save a mask");
    check(save_mask_fn_convert_trellis(0, 2, (slot)pixar.save_cut_fn, picture, mask, width, 0, 0,
                                       width - 1, height - 1, 1) == 0,
          "save a matte");
    check(load_mask_fn_convert_trellis(0, 2, (slot)pixar.load_cut_fn, picture, loaded_mask, width,
                                       0, 0, width - 1, height - 1, 0, 0) == 0,
          "load a matte");
    for (y = 0; y < height; ++y)
        for (x = 0; x < width; ++x)
            check(loaded_mask[y][x] == mask[y][x], "the same mask");
    return 0;
}
