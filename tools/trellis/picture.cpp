#include "picture.h"

#include <unistd.h>

#include <algorithm>
#include <new>

namespace tool {

namespace {

std::uint64_t machine_memory() {
    return std::uint64_t(sysconf(_SC_PHYS_PAGES)) * std::uint64_t(sysconf(_SC_PAGESIZE));
}

// The library's rule for the brightness of a colour.
std::uint8_t brightness(const std::uint8_t* colour) {
    return std::uint8_t(0.11 * colour[Picture::blue] + 0.59 * colour[Picture::green] +
                        0.3 * colour[Picture::red]);
}

}  // namespace

Samples::Samples(std::uint64_t pixels, std::size_t bytes_per_pixel) {
    if (pixels <= machine_memory() / bytes_per_pixel) {
        data_.reset(static_cast<std::uint8_t*>(std::calloc(pixels, bytes_per_pixel)));
    }
    if (data_ == nullptr) {
        throw std::bad_alloc();
    }
}

Picture::Picture(trellis_kind kind, int width, int height)
    : kind_(kind), width_(width), height_(height) {
    if (kind != TRELLIS_KIND_MASK) {
        colour_ = Samples(pixels(), colour_size);
    }
    if (kind != TRELLIS_KIND_IMAGE) {
        matte_ = Samples(pixels(), 1);
    }
}

void Picture::turn_into(trellis_kind kind) {
    if (kind == kind_) {
        return;
    }
    if (kind == TRELLIS_KIND_CUTOUT && kind_ == TRELLIS_KIND_IMAGE) {
        matte_ = Samples(pixels(), 1);
        std::fill_n(matte(), pixels(), std::uint8_t{255});
    } else if (kind_ == TRELLIS_KIND_MASK) {
        colour_ = Samples(pixels(), colour_size);
    }
    if (kind == TRELLIS_KIND_IMAGE && kind_ == TRELLIS_KIND_MASK) {
        for (std::uint64_t i = 0; i < pixels(); ++i) {
            std::fill_n(colour() + i * colour_size + blue, 3, matte()[i]);
        }
    }
    if (kind == TRELLIS_KIND_MASK && kind_ == TRELLIS_KIND_IMAGE) {
        matte_ = Samples(pixels(), 1);
        for (std::uint64_t i = 0; i < pixels(); ++i) {
            matte()[i] = brightness(colour() + i * colour_size);
        }
    }
    if (kind == TRELLIS_KIND_IMAGE) {
        matte_ = Samples();
    }
    if (kind == TRELLIS_KIND_MASK) {
        colour_ = Samples();
    }
    kind_ = kind;
}

const char* kind_name(trellis_kind kind) {
    switch (kind) {
        case TRELLIS_KIND_IMAGE:
            return "image";
        case TRELLIS_KIND_CUTOUT:
            return "cutout";
        case TRELLIS_KIND_MASK:
            return "mask";
        default:
            return "other";
    }
}

}  // namespace tool
