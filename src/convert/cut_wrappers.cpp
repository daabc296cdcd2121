// Convert wrappers between the host's packed cutout buffer and slots that serve a cutout with its
// information, a picture, or a picture with a matte.

#include <cstring>

#include "trellis/convert.h"

#include "convert/cutout.h"
#include "convert/slot_call.h"
#include "frame/error.h"
#include "pixels/kernels.h"

namespace {

using namespace trellis;
using namespace trellis::convert;

/// What a cutout's information says besides its size.
struct Information {
    unsigned int* int_3;
    unsigned int* int_4;
    float* real_1;
    float* real_2;
    float* real_3;
    float* real_4;
    unsigned int* int_6;
    unsigned int* outline_size;
    unsigned int* data_size;
    unsigned int* int_7;
};

/// What a file without cutout information is taken to say: the outline of the whole picture, with
/// its origin in the lower left corner and its centre in the middle. A null outline is not wanted.
void set_defaults(const Information& info, void* outline, int width, int height,
                  unsigned int pixel_bytes) {
    trellis_default_outline unwanted;
    *info.int_3 = 0;
    *info.int_4 = 0;
    set_default_cutout_outline(outline == nullptr ? &unwanted : outline, 0, 0, width, height,
                               info.real_1, info.real_2);
    *info.real_3 = 0.5F;
    *info.real_4 = 0.5F;
    *info.int_6 = 1;
    *info.outline_size = sizeof(trellis_default_outline);
    *info.data_size =
        static_cast<unsigned int>(width) * static_cast<unsigned int>(height) * pixel_bytes;
    *info.int_7 = 3;
}

/// A call of a slot on the host's packed cutout buffer, or on temporary pixels of its size.
class CutCall {
  public:
    CutCall(Direction direction, int mode, int width, int height, void* cutout)
        : call_(direction, mode, {0, 0, std::int64_t{width} - 1, std::int64_t{height} - 1}),
          cutout_(call_, cutout, call_.width()) {}

    const SlotCall& call() const { return call_; }
    SlotBuffer<CutoutBuffer>& cutout() { return cutout_; }

    /// A separate matte, for slots that take one; null for the others, and without a cutout.
    void* matte() { return matte_.data(); }

    /// The cutout pixel that `data_size` counts by default: that of the slot in a load.
    unsigned int counted_pixel_bytes() const {
        return static_cast<unsigned int>(pixel_bytes<CutoutBuffer>(call_.slot_is_wide()));
    }

    Error prepare(int source_kind) {
        TRELLIS_TRY(cutout_.prepare());
        return source_kind == cut_slot && cutout_.is_given()
                   ? matte_.allocate(call_.pixels(), pixel_bytes<MatteBuffer>(call_.slot_is_wide()))
                   : Error::none;
    }

    /// Loads: the cutout's memory holds colour pixels, which grow in place.
    void join() {
        if (!cutout_.is_given()) {
            return;
        }
        if (call_.slot_is_wide()) {
            join_as<std::uint16_t>(cutout_.data());
        } else {
            join_as<std::uint8_t>(cutout_.data());
        }
    }

    /// Saves: turns the cutout into colour pixels and a matte. The host's buffer stays as it is: in
    /// mode 0 the colour is made in a copy of it.
    Error split() {
        colour_ = cutout_.data();
        if (!cutout_.is_given()) {
            return Error::none;
        }
        if (!cutout_.is_temporary()) {
            const std::size_t bytes = pixel_bytes<CutoutBuffer>(call_.slot_is_wide());
            TRELLIS_TRY(copy_.allocate(call_.pixels(), bytes));
            colour_ = copy_.data();
            std::memcpy(colour_, cutout_.data(), copy_.size());
        }
        if (call_.slot_is_wide()) {
            split_as<std::uint16_t>(colour_);
        } else {
            split_as<std::uint8_t>(colour_);
        }
        return Error::none;
    }

    void* colour() const { return colour_; }

  private:
    template <class Sample>
    void join_as(void* pixels) {
        auto* samples = static_cast<Sample*>(pixels);
        pixels::kernels().shapes<Sample>().join(samples, static_cast<const Sample*>(matte()),
                                                samples, static_cast<std::size_t>(call_.pixels()));
    }

    template <class Sample>
    void split_as(void* pixels) {
        auto* samples = static_cast<Sample*>(pixels);
        split_cutout(samples, static_cast<Sample*>(matte()), samples,
                     static_cast<std::size_t>(call_.pixels()));
    }

    SlotCall call_;
    SlotBuffer<CutoutBuffer> cutout_;
    TemporaryPixels matte_;
    TemporaryPixels copy_;
    void* colour_ = nullptr;
};

}  // namespace

int load_cut_fn_convert_trellis(int mode, int source_kind, trellis_slot_fn fn, const char* name,
                                unsigned int* info_width, unsigned int* info_height,
                                unsigned int* int_3, unsigned int* int_4, float* real_1,
                                float* real_2, float* real_3, float* real_4, unsigned int* int_5,
                                unsigned int* int_6, unsigned int* outline_size, void* outline,
                                unsigned int* data_size, void* cutout, unsigned int* int_7) {
    // The size as it is before the call: a native slot may change it, but not the host's buffer.
    const int width = static_cast<int>(*info_width);
    const int height = static_cast<int>(*info_height);
    CutCall cut(Direction::load, mode, width, height, cutout);
    const SlotCall& call = cut.call();
    if (!call.possible(fn) || !serves_cutouts(source_kind)) {
        return code(Error::not_in_format);
    }
    TRELLIS_TRY_CODE(cut.prepare(source_kind));
    void* pixels = cut.cutout().data();
    const int pitch = cut.cutout().pitch();
    const SlotRectangle at = call.packed();
    const int result = call.load([&] {
        switch (source_kind) {
            case picture_slot:
                return slot_as<trellis_load_pic_fn>(fn)(name, pixels, pitch, at.x0, at.y0, at.x1,
                                                        at.y1, 0, 0);
            case cut_slot:
                return slot_as<trellis_load_cut_fn>(fn)(name, pixels, pitch, cut.matte(), pitch,
                                                        at.x0, at.y0, at.x1, at.y1, 0, 0);
            default:
                return slot_as<trellis_load_cutout_fn>(fn)(
                    name, info_width, info_height, int_3, int_4, real_1, real_2, real_3, real_4,
                    int_5, int_6, outline_size, outline, data_size, pixels, int_7);
        }
    });
    if (source_kind != native_slot) {
        cut.join();
        set_defaults(
            {int_3, int_4, real_1, real_2, real_3, real_4, int_6, outline_size, data_size, int_7},
            outline, width, height, cut.counted_pixel_bytes());
    }
    cut.cutout().convert_after();
    return result;
}

int save_cut_fn_convert_trellis(int mode, int source_kind, trellis_slot_fn fn, const char* name,
                                int info_width, int info_height, int int_3, int int_4,
                                int /*int_5*/, int int_6, int outline_size, void* outline,
                                int data_size, void* cutout, int int_7, float real_1, float real_2,
                                float real_3, float real_4) {
    CutCall cut(Direction::save, mode, info_width, info_height, cutout);
    if (!cut.call().possible(fn) || !serves_cutouts(source_kind)) {
        return code(Error::not_in_format);
    }
    TRELLIS_TRY_CODE(cut.prepare(source_kind));
    cut.cutout().convert_before();
    if (source_kind == native_slot) {
        return slot_as<trellis_save_cutout_fn>(fn)(
            name, info_width, info_height, int_3, int_4, 0, int_6, outline_size, outline, data_size,
            cut.cutout().data(), int_7, real_1, real_2, real_3, real_4);
    }
    TRELLIS_TRY_CODE(cut.split());
    const int pitch = cut.call().width();
    const SlotRectangle at = cut.call().packed();
    if (source_kind == picture_slot) {
        return slot_as<trellis_save_pic_fn>(fn)(name, cut.colour(), pitch, at.x0, at.y0, at.x1,
                                                at.y1, 1);
    }
    const int compress = inq_compressed_trellis() == 1 ? 1 : 0;
    return slot_as<trellis_save_cut_fn>(fn)(name, cut.colour(), pitch, cut.matte(), pitch, at.x0,
                                            at.y0, at.x1, at.y1, compress);
}

int size_cut_fn_convert_trellis(int mode, int source_kind, trellis_slot_fn fn, const char* name,
                                unsigned int* info_width, unsigned int* info_height,
                                unsigned int* int_3, unsigned int* int_4, float* real_1,
                                float* real_2, float* real_3, float* real_4, unsigned int* int_6,
                                unsigned int* outline_size, unsigned int* data_size,
                                unsigned int* int_7) {
    int result = code(Error::not_in_format);
    if (fn != nullptr && source_kind == native_slot) {
        result = slot_as<trellis_size_cut_fn>(fn)(name, info_width, info_height, int_3, int_4,
                                                  real_1, real_2, real_3, real_4, int_6,
                                                  outline_size, data_size, int_7);
    } else if (fn != nullptr && serves_cutouts(source_kind)) {
        result = slot_as<trellis_size_fn>(fn)(name, info_width, info_height);
        const auto width = static_cast<int>(*info_width);
        const auto height = static_cast<int>(*info_height);
        const CutCall cut(Direction::load, mode, width, height, nullptr);
        set_defaults(
            {int_3, int_4, real_1, real_2, real_3, real_4, int_6, outline_size, data_size, int_7},
            nullptr, width, height, cut.counted_pixel_bytes());
    }
    // From the slot's bytes to the host's; halves are rounded towards zero.
    if (mode == mode_widen) {
        *data_size *= 2;
    } else if (mode == mode_narrow) {
        *data_size = static_cast<unsigned int>(static_cast<int>(*data_size) / 2 + 4);
    }
    return result;
}
