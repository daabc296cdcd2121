#include "formats/iff/destination.h"

#include <algorithm>
#include <array>

namespace trellis::iff {

namespace {

template <class View>
pixels::ByteRows byte_rows(const View& view, std::int64_t x, std::int64_t y) {
    return {view.pixel(x, y), static_cast<std::ptrdiff_t>(view.pitch_bytes())};
}

}  // namespace

Destination::Destination(const Buffers& buffers, const maya_header& header,
                         const Rectangle& rectangle, int file_x, int file_y)
    : deep_(buffers.deep),
      move_x_(rectangle.x0 + file_x),
      move_y_(rectangle.y0 + file_y),
      wanted_{rectangle.x0 - move_x_, rectangle.y0 - move_y_, rectangle.x1 - move_x_,
              rectangle.y1 - move_y_} {
    void* colour = header.has_colour() ? buffers.colour : nullptr;
    void* matte = header.has_alpha() ? buffers.matte : nullptr;
    if (deep_) {
        colour16_ = Colour16(colour, buffers.colour_pitch);
        matte16_ = Matte16(matte, buffers.matte_pitch);
    } else {
        colour8_ = Colour8(colour, buffers.colour_pitch);
        matte8_ = Matte8(matte, buffers.matte_pitch);
    }
}

void Destination::store(const std::uint8_t* cutout, std::size_t count, std::int64_t x,
                        std::int64_t y) const {
    const pixels::Kernels& kernels = pixels::kernels();
    x += move_x_;
    y += move_y_;
    if (colour16_) {
        kernels.widen_colours(cutout, colour16_.pixel(x, y), count);
    }
    if (matte16_) {
        kernels.widen_mattes(cutout, matte16_.pixel(x, y), count);
    }
    if (colour8_) {
        kernels.bytes.extract_colours(cutout, colour8_.pixel(x, y), count);
    }
    if (matte8_) {
        kernels.bytes.extract_matte(cutout, matte8_.pixel(x, y), count);
    }
}

void Destination::store(const pixels::Planes& planes, const Rectangle& part) const {
    const auto width = static_cast<std::size_t>(part.width());
    const auto height = static_cast<std::size_t>(part.height());
    if (!deep_) {
        const std::int64_t x = part.x0 + move_x_;
        const std::int64_t y = part.y0 + move_y_;
        pixels::kernels().store_planes(planes, width, height, byte_rows(colour8_, x, y),
                                       byte_rows(matte8_, x, y));
        return;
    }
    std::array<std::uint8_t, 4 * piece_pixels> piece;
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; x += piece_pixels) {
            const std::size_t count = std::min(width - x, piece_pixels);
            pixels::kernels().join_planes(planes.from(x, y), piece.data(), count);
            store(piece.data(), count, part.x0 + static_cast<std::int64_t>(x),
                  part.y0 + static_cast<std::int64_t>(y));
        }
    }
}

}  // namespace trellis::iff
