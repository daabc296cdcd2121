#pragma once

// What the convert wrappers are built from.
//
// A wrapper calls a slot once. When the slot works at the other depth, temporary buffers stand in
// for the host's: they hold the pixels of the rectangle and nothing else, so the slot gets their
// width as the pitch and a rectangle that begins at (0, 0). A save converts into them before the
// call, a load out of them after it, whatever the slot returned.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "trellis/convert.h"
#include "trellis/settings.h"

#include "convert/depth.h"
#include "convert/layouts.h"
#include "frame/error.h"
#include "frame/memory.h"
#include "frame/raster.h"
#include "state/buffer_type.h"

namespace trellis::convert {

/// The first argument of every wrapper: what becomes of the depth on the way from the slot to the
/// host (loads) or from the host to the slot (saves).
enum Mode : int { mode_direct = 0, mode_widen = 1, mode_narrow = 2 };

/// The second argument of the cut and mask wrappers: which slot they were given.
enum SourceKind : int { native_slot = 0, picture_slot = 1, cut_slot = 2, mask_slot = 3 };

constexpr bool serves_cutouts(int source_kind) {
    return source_kind >= native_slot && source_kind <= cut_slot;
}

constexpr bool serves_masks(int source_kind) {
    return source_kind >= picture_slot && source_kind <= mask_slot;
}

template <class Slot>
Slot slot_as(trellis_slot_fn fn) {
    return reinterpret_cast<Slot>(fn);
}

enum class Direction { load, save };

/// A rectangle as slots take it.
struct SlotRectangle {
    int x0;
    int y0;
    int x1;
    int y1;
};

/// One call of a wrapper: its mode and its rectangle of the host's buffers.
class SlotCall {
  public:
    SlotCall(Direction direction, int mode, const Rectangle& rectangle)
        : mode_(mode), host_(rectangle) {
        // Asked once: what another thread sets later changes nothing about this call.
        const int host_type = inq_buffer_type_trellis();
        const bool wide = (mode == mode_narrow) == (direction == Direction::load);
        slot_type_ = mode == mode_direct ? host_type : static_cast<int>(wide);
    }

    /// An empty slot is an operation that the format does not offer.
    template <class Slot>
    bool possible(Slot fn) const {
        return fn != nullptr &&
               (mode_ == mode_direct || mode_ == mode_widen || mode_ == mode_narrow);
    }

    int mode() const { return mode_; }
    const Rectangle& host() const { return host_; }
    int width() const { return clamped(host_.width()); }
    int height() const { return clamped(host_.height()); }
    Extent extent() const { return {width(), height()}; }
    std::uint64_t pixels() const { return static_cast<std::uint64_t>(width()) * height64(); }

    /// The rectangle of temporary buffers, and that of the slot call.
    SlotRectangle packed() const { return {0, 0, width() - 1, height() - 1}; }
    SlotRectangle slot() const {
        return mode_ != mode_direct
                   ? packed()
                   : SlotRectangle{static_cast<int>(host_.x0), static_cast<int>(host_.y0),
                                   static_cast<int>(host_.x1), static_cast<int>(host_.y1)};
    }

    /// Do the slot's buffers hold 16-bit samples?
    bool slot_is_wide() const { return slot_type_ == 1; }

    /// Calls a load slot. A slot may ask the buffer type setting which layout to write: it gets the
    /// type of its own buffers, whatever that of the host's is.
    template <class Slot>
    int load(Slot slot_call) const {
        const BufferTypeScope scope(slot_type_);
        return slot_call();
    }

  private:
    static int clamped(std::int64_t size) {
        return static_cast<int>(std::clamp<std::int64_t>(size, 0, std::numeric_limits<int>::max()));
    }
    std::uint64_t height64() const { return static_cast<std::uint64_t>(height()); }

    int mode_;
    int slot_type_;
    Rectangle host_;
};

/// Temporary pixels, all zero: what a slot leaves out, or never writes because it failed, is black
/// and transparent, not whatever the memory held before.
class TemporaryPixels {
  public:
    Error allocate(std::uint64_t pixels, std::size_t pixel_bytes) {
        return pixels > PTRDIFF_MAX / pixel_bytes ? Error::allocation
                                                  : bytes_.allocate_zeroed(pixels * pixel_bytes);
    }
    void* data() { return bytes_.data(); }
    std::size_t size() const { return bytes_.size(); }

  private:
    Block<unsigned char> bytes_;
};

/// The two depths of a buffer that wrappers convert.
struct ColourBuffer {
    using Bytes = Colour8;
    using Words = Colour16;
};
struct CutoutBuffer {
    using Bytes = Cutout8;
    using Words = Cutout16;
};
struct MatteBuffer {
    using Bytes = Matte8;
    using Words = Matte16;
};

template <class Buffer>
std::size_t pixel_bytes(bool wide) {
    return wide ? Buffer::Words::pixel_bytes : Buffer::Bytes::pixel_bytes;
}

/// What a slot gets in the place of one of the host's buffers: the buffer itself in mode 0, else
/// temporary pixels. A buffer that the host did not give is not given to the slot either.
template <class Buffer>
class SlotBuffer {
  public:
    SlotBuffer(const SlotCall& call, void* buffer, int pitch)
        : call_(call), host_{buffer, pitch, call.host().x0, call.host().y0}, slot_(host_) {}

    Error prepare() {
        if (!is_temporary()) {
            return Error::none;
        }
        // Pitches have 32 bits: rectangles wider or higher than that are not clamped but refused.
        if (call_.pixels() != 0 &&
            (call_.host().width() != call_.width() || call_.host().height() != call_.height())) {
            return Error::allocation;
        }
        TRELLIS_TRY(temporary_.allocate(call_.pixels(), pixel_bytes<Buffer>(call_.slot_is_wide())));
        slot_ = {temporary_.data(), call_.width(), 0, 0};
        return Error::none;
    }

    /// Before the call of a save slot: fills the temporary pixels.
    void convert_before() {
        if (is_temporary()) {
            convert(host_, slot_);
        }
    }

    /// After the call of a load slot: fills the host's rectangle.
    void convert_after() {
        if (is_temporary()) {
            convert(slot_, host_);
        }
    }

    bool is_given() const { return host_.pixels != nullptr; }
    bool is_temporary() const { return call_.mode() != mode_direct && is_given(); }
    void* data() const { return slot_.pixels; }
    int pitch() const { return slot_.pitch; }

  private:
    /// Where the rectangle begins in a buffer.
    struct Place {
        void* pixels;
        int pitch;
        std::int64_t x;
        std::int64_t y;

        template <class View>
        View as() const {
            return View(pixels, pitch).from(x, y);
        }
    };

    void convert(const Place& from, const Place& to) const {
        using Bytes = typename Buffer::Bytes;
        using Words = typename Buffer::Words;
        if (call_.mode() == mode_widen) {
            widen(from.template as<Bytes>(), to.template as<Words>(), call_.extent());
        } else {
            narrow(from.template as<Words>(), to.template as<Bytes>(), call_.extent());
        }
    }

    const SlotCall& call_;
    Place host_;
    Place slot_;
    TemporaryPixels temporary_;
};

}  // namespace trellis::convert
