#include "formats/iff/destination.h"

#include <algorithm>
#include <array>

#include "trellis/settings.h"

namespace trellis::iff {

Destination::Destination(const Buffers& buffers, const maya_header& header,
                         const Rectangle& rectangle, int file_x, int file_y)
    : deep_(inq_buffer_type_trellis() == 1),
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

void Destination::store(const Pixel* pixels, std::size_t count, std::int64_t x,
                        std::int64_t y) const {
    x += move_x_;
    y += move_y_;
    if (deep_) {
        store_row(pixels, count, colour16_.pixel(x, y), matte16_.pixel(x, y));
    } else {
        store_row(pixels, count, colour8_.pixel(x, y), matte8_.pixel(x, y));
    }
}

void Destination::store(const Planes& planes, const Rectangle& part) const {
    const auto width = static_cast<std::size_t>(part.width());
    const auto height = static_cast<std::size_t>(part.height());
    if (!deep_) {
        const std::int64_t x = part.x0 + move_x_;
        const std::int64_t y = part.y0 + move_y_;
        store_planes(planes, width, height, colour8_.from(x, y), matte8_.from(x, y));
        return;
    }
    std::array<Pixel, piece_pixels> piece;
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; x += piece_pixels) {
            const std::size_t count = std::min(width - x, piece_pixels);
            join_planes(planes.from(x, y), count, piece.data());
            store(piece.data(), count, part.x0 + static_cast<std::int64_t>(x),
                  part.y0 + static_cast<std::int64_t>(y));
        }
    }
}

}  // namespace trellis::iff
