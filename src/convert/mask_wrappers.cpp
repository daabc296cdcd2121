// Convert wrappers between the host's mask and slots that serve a mask, a picture, or a picture
// with a matte.

#include "trellis/convert.h"

#include "convert/slot_call.h"
#include "frame/error.h"
#include "pixels/kernels.h"

namespace {

using namespace trellis;
using namespace trellis::convert;

/// The mask as the slot sees it, and the colour that a picture has beside it.
class MaskCall {
  public:
    MaskCall(const SlotCall& call, void* mask, int pitch) : call_(call), mask_(call, mask, pitch) {}

    Error prepare(int source_kind) {
        TRELLIS_TRY(mask_.prepare());
        const bool has_colour =
            source_kind == cut_slot || (source_kind == picture_slot && mask_.is_given());
        return has_colour ? colour_.allocate(call_.pixels(),
                                             pixel_bytes<ColourBuffer>(call_.slot_is_wide()))
                          : Error::none;
    }

    SlotBuffer<MatteBuffer>& mask() { return mask_; }

    /// Null where it would only be made from, or for, a mask that is not there.
    void* colour() { return colour_.data(); }

    /// The mask's first pixel of the rectangle: colour is packed, so a slot that gets both gets the
    /// mask from here.
    void* mask_corner() const {
        return call_.slot_is_wide() ? static_cast<void*>(mask_view<Matte16>().pixel(0, 0))
                                    : static_cast<void*>(mask_view<Matte8>().pixel(0, 0));
    }

    void mask_from_colour() {
        if (!mask_.is_given()) {
            return;
        }
        if (call_.slot_is_wide()) {
            each_row(Colour16(colour(), call_.width()), mask_view<Matte16>(), call_.extent(),
                     pixels::kernels().words.colour_to_mask);
        } else {
            each_row(Colour8(colour(), call_.width()), mask_view<Matte8>(), call_.extent(),
                     pixels::kernels().bytes.colour_to_mask);
        }
    }

    void colour_from_mask() {
        if (!mask_.is_given()) {
            return;
        }
        if (call_.slot_is_wide()) {
            each_row(mask_view<Matte16>(), Colour16(colour(), call_.width()), call_.extent(),
                     pixels::kernels().words.mask_to_colour);
        } else {
            each_row(mask_view<Matte8>(), Colour8(colour(), call_.width()), call_.extent(),
                     pixels::kernels().bytes.mask_to_colour);
        }
    }

  private:
    template <class View>
    View mask_view() const {
        const SlotRectangle at = call_.slot();
        return View(mask_.data(), mask_.pitch()).from(at.x0, at.y0);
    }

    const SlotCall& call_;
    SlotBuffer<MatteBuffer> mask_;
    TemporaryPixels colour_;
};

}  // namespace

int load_mask_fn_convert_trellis(int mode, int source_kind, trellis_slot_fn fn, const char* name,
                                 void* mask, int pitch, int x0, int y0, int x1, int y1, int file_x,
                                 int file_y) {
    const SlotCall call(Direction::load, mode, {x0, y0, x1, y1});
    if (!call.possible(fn) || !serves_masks(source_kind)) {
        return code(Error::not_in_format);
    }
    MaskCall buffers(call, mask, pitch);
    TRELLIS_TRY_CODE(buffers.prepare(source_kind));
    const SlotRectangle at = call.slot();
    const SlotRectangle packed = call.packed();
    const int result = call.load([&] {
        switch (source_kind) {
            case picture_slot:
                return slot_as<trellis_load_pic_fn>(fn)(name, buffers.colour(), call.width(),
                                                        packed.x0, packed.y0, packed.x1, packed.y1,
                                                        file_x, file_y);
            case cut_slot:
                return slot_as<trellis_load_cut_fn>(fn)(
                    name, buffers.colour(), call.width(), buffers.mask_corner(),
                    buffers.mask().pitch(), packed.x0, packed.y0, packed.x1, packed.y1, file_x,
                    file_y);
            default:
                return slot_as<trellis_load_mask_fn>(fn)(name, buffers.mask().data(),
                                                         buffers.mask().pitch(), at.x0, at.y0,
                                                         at.x1, at.y1, file_x, file_y);
        }
    });
    if (source_kind == picture_slot) {
        buffers.mask_from_colour();
    }
    buffers.mask().convert_after();
    return result;
}

int save_mask_fn_convert_trellis(int mode, int source_kind, trellis_slot_fn fn, const char* name,
                                 void* mask, int pitch, int x0, int y0, int x1, int y1,
                                 int compress) {
    const SlotCall call(Direction::save, mode, {x0, y0, x1, y1});
    if (!call.possible(fn) || !serves_masks(source_kind)) {
        return code(Error::not_in_format);
    }
    MaskCall buffers(call, mask, pitch);
    TRELLIS_TRY_CODE(buffers.prepare(source_kind));
    buffers.mask().convert_before();
    const SlotRectangle at = call.slot();
    const SlotRectangle packed = call.packed();
    switch (source_kind) {
        case picture_slot:
            buffers.colour_from_mask();
            return slot_as<trellis_save_pic_fn>(fn)(name, buffers.colour(), call.width(), packed.x0,
                                                    packed.y0, packed.x1, packed.y1, 1);
        case cut_slot:
            return slot_as<trellis_save_cut_fn>(fn)(name, buffers.colour(), call.width(),
                                                    buffers.mask_corner(), buffers.mask().pitch(),
                                                    packed.x0, packed.y0, packed.x1, packed.y1, 1);
        default:
            return slot_as<trellis_save_mask_fn>(fn)(name, buffers.mask().data(),
                                                     buffers.mask().pitch(), at.x0, at.y0, at.x1,
                                                     at.y1, compress);
    }
}

int size_mask_fn_convert_trellis(int /*mode*/, int source_kind, trellis_size_fn fn,
                                 const char* name, unsigned int* width, unsigned int* height) {
    return serves_masks(source_kind) && fn != nullptr ? fn(name, width, height)
                                                      : code(Error::not_in_format);
}
