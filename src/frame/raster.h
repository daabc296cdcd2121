#pragma once

// The words that readers, writers and converters share: rectangles and views of the host's buffers.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace trellis {

/// An inclusive rectangle of buffer pixels. Sizes are 64-bit: corners may lie anywhere in 32 bits.
struct Rectangle {
    std::int64_t x0;
    std::int64_t y0;
    std::int64_t x1;
    std::int64_t y1;

    constexpr std::int64_t width() const { return x1 - x0 + 1; }
    constexpr std::int64_t height() const { return y1 - y0 + 1; }
    constexpr bool empty() const { return x1 < x0 || y1 < y0; }
};

/// What lies in both, perhaps nothing.
constexpr Rectangle intersection(const Rectangle& a, const Rectangle& b) {
    return {std::max(a.x0, b.x0), std::max(a.y0, b.y0), std::min(a.x1, b.x1), std::min(a.y1, b.y1)};
}

/// A host's buffer: `channels` samples a pixel, rows `pitch` pixels apart, pixel (0, 0) at origin.
/// A view without an origin stands for a buffer that the host did not give.
template <class SampleType, int channels>
class BufferView {
    using Memory = std::conditional_t<std::is_const_v<SampleType>, const void, void>;

  public:
    using Sample = SampleType;
    static constexpr std::size_t pixel_bytes = sizeof(Sample) * channels;

    BufferView() = default;
    BufferView(Memory* origin, std::int64_t pitch)
        : origin_(static_cast<Sample*>(origin)), pitch_(pitch) {}

    /// A buffer that may be written may also be read.
    operator BufferView<const Sample, channels>() const requires(!std::is_const_v<Sample>) {
        return {origin_, pitch_};
    }

    explicit operator bool() const { return origin_ != nullptr; }

    /// What a pixel takes in the buffer: nothing without one.
    std::size_t wanted_bytes() const { return origin_ == nullptr ? 0 : pixel_bytes; }

    /// From a row to the next.
    std::int64_t pitch_bytes() const { return pitch_ * static_cast<std::int64_t>(pixel_bytes); }

    /// The first sample of pixel (x, y); null without a buffer.
    Sample* pixel(std::int64_t x, std::int64_t y) const {
        return origin_ == nullptr ? nullptr : origin_ + (y * pitch_ + x) * channels;
    }

    /// The same buffer with its pixel (x, y) as the origin.
    BufferView from(std::int64_t x, std::int64_t y) const {
        BufferView moved = *this;
        moved.origin_ = pixel(x, y);
        return moved;
    }

  private:
    Sample* origin_ = nullptr;
    std::int64_t pitch_ = 0;
};

using Colour8 = BufferView<std::uint8_t, 4>;    // spare, blue, green, red
using Colour16 = BufferView<std::uint16_t, 3>;  // blue, green, red
using Cutout8 = Colour8;                        // the spare byte holds the matte
using Cutout16 = BufferView<std::uint16_t, 4>;  // matte, blue, green, red
using Matte8 = BufferView<std::uint8_t, 1>;
using Matte16 = BufferView<std::uint16_t, 1>;

// The same for buffers that are only read.
using ColourSource8 = BufferView<const std::uint8_t, 4>;
using ColourSource16 = BufferView<const std::uint16_t, 3>;
using CutoutSource8 = ColourSource8;
using CutoutSource16 = BufferView<const std::uint16_t, 4>;
using MatteSource8 = BufferView<const std::uint8_t, 1>;
using MatteSource16 = BufferView<const std::uint16_t, 1>;

}  // namespace trellis
