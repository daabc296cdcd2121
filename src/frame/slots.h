#pragma once

// The slots of a descriptor, made from a format's reader and writer. Hosts know six ways to pass
// buffers and a rectangle; readers and writers know one request.

#include "trellis/pic_format.h"

#include "frame/error.h"
#include "frame/raster.h"

namespace trellis {

/// What a load is asked for: the host's buffers (a null one is not wanted), the rectangle of them
/// to fill, and where it lies in the file's picture, as hosts say it.
struct LoadRequest {
    void* colour;
    int colour_pitch;
    void* matte;
    int matte_pitch;
    Rectangle rectangle;
    int file_x;
    int file_y;
};

/// What a save is given: the host's buffers (null where there is none), the rectangle of them to
/// save, and what to make of it.
struct SaveRequest {
    const void* colour;
    int colour_pitch;
    const void* matte;
    int matte_pitch;
    Rectangle rectangle;
    trellis_kind kind;
    int compress;  // nonzero: in the compressed storage, if the format has one
};

/// The load slots over `load`, an `Error (const char* name, const LoadRequest&)`.
template <auto load>
struct LoadSlots {
    static int pic(const char* name, void* rgb, int pitch, int x0, int y0, int x1, int y1,
                   int file_x, int file_y) {
        return code(load(name, {rgb, pitch, nullptr, 0, {x0, y0, x1, y1}, file_x, file_y}));
    }
    static int cut(const char* name, void* rgb, int pitch, void* alpha, int alpha_pitch, int x0,
                   int y0, int x1, int y1, int file_x, int file_y) {
        return code(load(name, {rgb, pitch, alpha, alpha_pitch, {x0, y0, x1, y1}, file_x, file_y}));
    }
    static int mask(const char* name, void* mask, int pitch, int x0, int y0, int x1, int y1,
                    int file_x, int file_y) {
        return code(load(name, {nullptr, 0, mask, pitch, {x0, y0, x1, y1}, file_x, file_y}));
    }
};

/// The save slots over `save`, an `Error (const char* name, const SaveRequest&)`.
template <auto save>
struct SaveSlots {
    static int pic(const char* name, void* rgb, int pitch, int x0, int y0, int x1, int y1,
                   int compress) {
        return code(
            save(name, {rgb, pitch, nullptr, 0, {x0, y0, x1, y1}, TRELLIS_KIND_IMAGE, compress}));
    }
    static int cut(const char* name, void* rgb, int pitch, void* alpha, int alpha_pitch, int x0,
                   int y0, int x1, int y1, int compress) {
        return code(save(
            name,
            {rgb, pitch, alpha, alpha_pitch, {x0, y0, x1, y1}, TRELLIS_KIND_CUTOUT, compress}));
    }
    static int mask(const char* name, void* mask, int pitch, int x0, int y0, int x1, int y1,
                    int compress) {
        return code(
            save(name, {nullptr, 0, mask, pitch, {x0, y0, x1, y1}, TRELLIS_KIND_MASK, compress}));
    }
};

/// The predicate of a format whose buffers have this type.
template <int native_type>
int is_native_depth(int buffer_type) {
    return buffer_type == native_type ? 1 : 0;
}

}  // namespace trellis
