/* A host that was compiled long ago: it has the declarations that it was written with, not today's
   headers. It saves and loads a picture through every format's slots, by the offsets and argument
   orders that it knows. */

#include <stdio.h>
#include <string.h>

typedef int (*slot)(void);

struct record {
    unsigned type;
    int flag_1, flag_2;
    const char *ext, *ext2, *ext3;
    char copies[3][128];
    const char *long_name, *code;
    int (*load_pic)(const char*, void*, int, int, int, int, int, int, int);
    int (*save_pic)(const char*, void*, int, int, int, int, int, int);
    int (*load_cut)(const char*, void*, int, void*, int, int, int, int, int, int, int);
    int (*save_cut)(const char*, void*, int, void*, int, int, int, int, int, int);
    slot load_cutout, save_cutout;
    int (*size_pic)(const char*, unsigned*, unsigned*);
    slot size_cut, load_mask, save_mask, size_mask, spare[3], load_cat;
    int (*depth_supported)(int);
    int (*probe)(void*, int, const char*, long, unsigned*, unsigned*);
    int (*info)(const char*, unsigned*, unsigned*, unsigned*, unsigned*, unsigned*, unsigned*, unsigned*, unsigned*,
                unsigned*, unsigned*, unsigned*, unsigned*);
    slot spare_2[2];
    int spare_word;
};

extern void init_pixar_pic_(struct record*), init_dpx_pic_(struct record*);
extern void init_smpte_pic_(struct record*), init_maya_pic_(struct record*);
extern void set_buffer_type_trellis(int);
extern int load_rgba_fn_convert_trellis(int, int (*)(const char*, void*, int, void*, int, int, int, int, int, int, int),
                                        const char*, void*, int, void*, int, int, int, int, int, int, int);
extern const char* err_msg_string_pic(unsigned);
extern int g_bSwap;

_Static_assert(sizeof(struct record) == 608, "as it was");

static int failures;

static int mark(void) { return 0; }

static void expect(int holds, const char* what, unsigned type) {
    if (!holds) {
        printf("format %u: %s\n", type, what);
        ++failures;
    }
}

static void use(void (*init)(struct record*), unsigned type, const char* code, int deep, const char* name) {
    enum { width = 5, height = 3, last_x = width - 1, last_y = height - 1, samples = 4 * width * height };
    const unsigned size = (deep ? 6 : 4) * width * height;
    struct record r;
    unsigned short in[samples], out[samples] = {0}, again[samples] = {0};
    unsigned char start[594] = {0};
    unsigned w = 0, h = 0, kind = 9, found = 0, i, o[12];
    FILE* file;

    memset(&r, 0x5A, sizeof r);
    r.load_cutout = r.save_cutout = mark;
    init(&r);
    expect(r.type == type && r.flag_1 == 1 && r.flag_2 == 1 && r.spare_word == 0, "numbers", type);
    expect(strcmp(r.code, code) == 0 && strcmp(r.copies[0], r.ext) == 0, "texts", type);
    expect(r.load_cutout == mark && r.save_cutout == mark && !r.spare[2] && !r.spare_2[1], "spare slots", type);
    expect(r.depth_supported(deep) == 1 && r.depth_supported(!deep) == 0, "native depth", type);

    for (i = 0; i < samples; ++i) {
        if (deep) in[i] = (unsigned short)(i * 7 % 1024);
        else ((unsigned char*)in)[i] = (unsigned char)(i % 4 == 0 ? 0 : i * 3);
    }
    expect(r.save_pic(name, in, width, 0, 0, last_x, last_y, 1) == 0, "save", type);
    expect(r.size_pic(name, &w, &h) == 0 && w == width && h == height, "size", type);
    expect(r.load_pic(name, out, width, 0, 0, last_x, last_y, 0, 0) == 0 && !memcmp(in, out, size), "load", type);
    expect(r.info(name, o, o + 1, o + 2, o + 3, o + 4, o + 5, o + 6, o + 7, o + 8, o + 9, o + 10, o + 11) == 0 &&
               o[9] == width && o[10] == height, "information", type);
    file = fopen(name, "rb");
    expect(file != NULL && fread(start, 1, sizeof start, file) > 100, "the file", type);
    if (file != NULL) fclose(file);
    expect(r.probe(start, 594, name, 0, &kind, &found) == 0 && found == 1 && kind == 0, "probe", type);
    set_buffer_type_trellis(deep);
    expect(load_rgba_fn_convert_trellis(0, r.load_cut, name, again, width, NULL, 0, 0, 0, last_x, last_y, 0, 0) == 0 &&
               !memcmp(in, again, size), "wrapper", type);
    set_buffer_type_trellis(0);
}

int main(int argc, char** argv) {
    const char* name = argc > 1 ? argv[1] : "old_host.picture";
    use(init_pixar_pic_, 7, "PIXAR", 0, name);
    use(init_smpte_pic_, 14, "SMPTE", 1, name);
    use(init_maya_pic_, 32, "MAYA", 0, name);
    use(init_dpx_pic_, 33, "DPX", 1, name);
    expect(g_bSwap == 1, "the byte-order word after a big-endian file", 33);
    expect(strlen(err_msg_string_pic(3)) > 3, "messages", 0);
    remove(name);
    return failures != 0;
}
