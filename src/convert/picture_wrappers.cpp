// Convert wrappers whose buffers have the slot's shape: colour, colour and matte apart, both in
// one. Only the depth may change.

#include "trellis/convert.h"

#include "convert/slot_call.h"
#include "frame/error.h"

namespace {

using namespace trellis;
using namespace trellis::convert;

template <class Buffer>
int load_one(int mode, trellis_load_pic_fn fn, const char* name, void* pixels, int pitch,
             const Rectangle& rectangle, int file_x, int file_y) {
    const SlotCall call(Direction::load, mode, rectangle);
    if (!call.possible(fn)) {
        return code(Error::not_in_format);
    }
    SlotBuffer<Buffer> buffer(call, pixels, pitch);
    TRELLIS_TRY_CODE(buffer.prepare());
    const SlotRectangle at = call.slot();
    const int result = call.load([&] {
        return fn(name, buffer.data(), buffer.pitch(), at.x0, at.y0, at.x1, at.y1, file_x, file_y);
    });
    buffer.convert_after();
    return result;
}

template <class Buffer>
int save_one(int mode, trellis_save_pic_fn fn, const char* name, void* pixels, int pitch,
             const Rectangle& rectangle, int compress) {
    const SlotCall call(Direction::save, mode, rectangle);
    if (!call.possible(fn)) {
        return code(Error::not_in_format);
    }
    SlotBuffer<Buffer> buffer(call, pixels, pitch);
    TRELLIS_TRY_CODE(buffer.prepare());
    buffer.convert_before();
    const SlotRectangle at = call.slot();
    return fn(name, buffer.data(), buffer.pitch(), at.x0, at.y0, at.x1, at.y1, compress);
}

}  // namespace

int load_pic_fn_convert_trellis(int mode, trellis_load_pic_fn fn, const char* name, void* rgb,
                                int pitch, int x0, int y0, int x1, int y1, int file_x, int file_y) {
    return load_one<ColourBuffer>(mode, fn, name, rgb, pitch, {x0, y0, x1, y1}, file_x, file_y);
}

int save_pic_fn_convert_trellis(int mode, trellis_save_pic_fn fn, const char* name, void* rgb,
                                int pitch, int x0, int y0, int x1, int y1, int compress) {
    return save_one<ColourBuffer>(mode, fn, name, rgb, pitch, {x0, y0, x1, y1}, compress);
}

int load_rgba_inone_fn_convert_trellis(int mode, trellis_load_pic_fn fn, const char* name,
                                       void* rgba, int pitch, int x0, int y0, int x1, int y1,
                                       int file_x, int file_y) {
    return load_one<CutoutBuffer>(mode, fn, name, rgba, pitch, {x0, y0, x1, y1}, file_x, file_y);
}

int save_rgba_inone_fn_convert_trellis(int mode, trellis_save_pic_fn fn, const char* name,
                                       void* rgba, int pitch, int x0, int y0, int x1, int y1,
                                       int compress) {
    return save_one<CutoutBuffer>(mode, fn, name, rgba, pitch, {x0, y0, x1, y1}, compress);
}

int load_rgba_fn_convert_trellis(int mode, trellis_load_cut_fn fn, const char* name, void* rgb,
                                 int pitch, void* alpha, int alpha_pitch, int x0, int y0, int x1,
                                 int y1, int file_x, int file_y) {
    const SlotCall call(Direction::load, mode, {x0, y0, x1, y1});
    if (!call.possible(fn)) {
        return code(Error::not_in_format);
    }
    SlotBuffer<ColourBuffer> colour(call, rgb, pitch);
    SlotBuffer<MatteBuffer> matte(call, alpha, alpha_pitch);
    TRELLIS_TRY_CODE(colour.prepare());
    TRELLIS_TRY_CODE(matte.prepare());
    const SlotRectangle at = call.slot();
    const int result = call.load([&] {
        return fn(name, colour.data(), colour.pitch(), matte.data(), matte.pitch(), at.x0, at.y0,
                  at.x1, at.y1, file_x, file_y);
    });
    colour.convert_after();
    matte.convert_after();
    return result;
}

int save_rgba_fn_convert_trellis(int mode, trellis_save_cut_fn fn, const char* name, void* rgb,
                                 int pitch, void* alpha, int alpha_pitch, int x0, int y0, int x1,
                                 int y1, int compress) {
    const SlotCall call(Direction::save, mode, {x0, y0, x1, y1});
    if (!call.possible(fn)) {
        return code(Error::not_in_format);
    }
    SlotBuffer<ColourBuffer> colour(call, rgb, pitch);
    SlotBuffer<MatteBuffer> matte(call, alpha, alpha_pitch);
    TRELLIS_TRY_CODE(colour.prepare());
    TRELLIS_TRY_CODE(matte.prepare());
    colour.convert_before();
    matte.convert_before();
    const SlotRectangle at = call.slot();
    return fn(name, colour.data(), colour.pitch(), matte.data(), matte.pitch(), at.x0, at.y0, at.x1,
              at.y1, compress);
}

int load_cat_fn_convert_trellis(int /*mode*/, trellis_load_cat_fn fn, const char* name,
                                void* buffer, int capacity, unsigned int* width,
                                unsigned int* height, unsigned int* present) {
    return fn == nullptr ? code(Error::not_in_format)
                         : fn(name, buffer, capacity, width, height, present);
}
