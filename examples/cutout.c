/* A C host in one page: saves a small cutout as a Pixar file, asks what is in it, loads it back. */

#include <stdio.h>
#include <string.h>
#include <trellis/trellis.h>

enum { width = 64, height = 48 };

static unsigned char colour[height][width][4]; /* spare, blue, green, red; row 0 is the bottom */
static unsigned char matte[height][width];
static unsigned char loaded_colour[height][width][4];
static unsigned char loaded_matte[height][width];

static int failed(const char* what, int code) {
    if (code != 0)
        fprintf(stderr, "%s: %s\n", what, err_msg_string_pic((unsigned int)code));
    return code != 0;
}

int main(int argc, char** argv) {
    const char* name = argc > 1 ? argv[1] : "cutout.pic";
    pic_format pixar;
    unsigned int w = 0, h = 0;
    int x, y;

    memset(&pixar, 0, sizeof pixar);
    init_pixar_pic_(&pixar);

    for (y = 0; y < height; ++y) {
        for (x = 0; x < width; ++x) {
            colour[y][x][1] = (unsigned char)(4 * x);
            colour[y][x][2] = (unsigned char)(5 * y);
            colour[y][x][3] = 128;
            matte[y][x] = (unsigned char)(x > y ? 255 : 0);
        }
    }

    if (failed("save", pixar.save_cut_fn(name, colour, width, matte, width, 0, 0, width - 1,
                                         height - 1, 1)))
        return 1;
    if (failed("size", pixar.size_pic_fn(name, &w, &h)))
        return 1;
    printf("%s: %s, %u x %u pixels\n", name, pixar.long_name, w, h);
    if (failed("load", pixar.load_cut_fn(name, loaded_colour, width, loaded_matte, width, 0, 0,
                                         width - 1, height - 1, 0, 0)))
        return 1;
    if (memcmp(colour, loaded_colour, sizeof colour) != 0 ||
        memcmp(matte, loaded_matte, sizeof matte) != 0) {
        fprintf(stderr, "the picture has changed on its way\n");
        return 1;
    }
    puts("the same pixels came back");
    return 0;
}
