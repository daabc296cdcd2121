#include <sys/mman.h>

#include <algorithm>
#include <new>

#include "trellis/convert.h"
#include "trellis/host.hpp"

#include "memory.h"

namespace trellis::host {

namespace {

// A film frame is thousands of ordinary pages, and the system's work for each, when it is written
// first, is a good part of a conversion's time. Where the system has no large pages, nothing is
// lost.
void ask_for_large_pages(std::uint8_t* data, std::size_t size) {
#ifdef MADV_HUGEPAGE
    constexpr std::uintptr_t large_page = std::uintptr_t{2} << 20;
    const auto first = reinterpret_cast<std::uintptr_t>(data);
    const std::uintptr_t from = (first + large_page - 1) & ~(large_page - 1);
    const std::uintptr_t to = (first + size) & ~(large_page - 1);
    if (to > from) {
        madvise(data + (from - first), to - from, MADV_HUGEPAGE);
    }
#endif
}

}  // namespace

Samples::Samples(std::uint64_t pixels, std::size_t bytes_per_pixel) {
    if (pixels <= memory_limit() / bytes_per_pixel) {
        data_.reset(static_cast<std::uint8_t*>(std::calloc(pixels, bytes_per_pixel)));
    }
    if (data_ == nullptr) {
        throw std::bad_alloc();
    }
    ask_for_large_pages(data_.get(), pixels * bytes_per_pixel);
}

Picture::Picture(trellis_kind kind, int width, int height, int depth)
    : kind_(kind), width_(width), height_(height), depth_(depth) {
    if (kind != TRELLIS_KIND_MASK) {
        colour_ = new_colour();
    }
    if (kind != TRELLIS_KIND_IMAGE) {
        matte_ = new_matte();
    }
}

Samples Picture::new_colour() const {
    return {pixels(), has_words() ? 3 * sizeof(std::uint16_t) : colour_size};
}

Samples Picture::new_matte() const {
    return {pixels(), has_words() ? sizeof(std::uint16_t) : 1};
}

// Converts row by row: the library counts pixels in an int.
template <class Convert>
void Picture::convert_rows(Convert convert) {
    const std::size_t sample_size = has_words() ? 2 : 1;
    const std::size_t colour_row =
        sample_size * std::size_t(colour_samples()) * std::size_t(width_);
    const std::size_t matte_row = sample_size * std::size_t(width_);
    for (std::size_t y = 0; y < std::size_t(height_); ++y) {
        convert(has_words() ? 1 : 0, colour() + y * colour_row, matte() + y * matte_row);
    }
}

void Picture::change_kind(trellis_kind kind) {
    if (kind == kind_) {
        return;
    }
    if (kind_ == TRELLIS_KIND_MASK) {
        colour_ = new_colour();  // black, as beside the matte of a cutout
    }
    if (kind_ == TRELLIS_KIND_MASK && kind == TRELLIS_KIND_IMAGE) {
        convert_rows([this](int depth, std::uint8_t* colour_row, std::uint8_t* matte_row) {
            mask_to_rgb_convert_trellis(depth, colour_row, matte_row, width_);
        });
    }
    if (kind_ == TRELLIS_KIND_IMAGE) {
        matte_ = new_matte();
    }
    if (kind_ == TRELLIS_KIND_IMAGE && kind == TRELLIS_KIND_MASK) {
        convert_rows([this](int depth, std::uint8_t* colour_row, std::uint8_t* matte_row) {
            rgb_to_mask_convert_trellis(depth, colour_row, matte_row, width_);
        });
    }
    if (kind_ == TRELLIS_KIND_IMAGE && kind == TRELLIS_KIND_CUTOUT) {
        make_opaque();
    }
    if (kind == TRELLIS_KIND_IMAGE) {
        matte_ = Samples();
    }
    if (kind == TRELLIS_KIND_MASK) {
        colour_ = Samples();
    }
    kind_ = kind;
}

void Picture::make_opaque() {
    if (has_words()) {
        std::fill_n(reinterpret_cast<std::uint16_t*>(matte()), pixels(),
                    static_cast<std::uint16_t>(greatest_sample()));
    } else {
        std::fill_n(matte(), pixels(), static_cast<std::uint8_t>(greatest_sample()));
    }
}

template <class Sample>
void Picture::change_colours(int (*change)(int colour, int matte, int most)) {
    const int most = greatest_sample();
    const auto size = static_cast<std::size_t>(colour_samples());
    auto* colour_buffer = reinterpret_cast<Sample*>(colour());
    const auto* matte_buffer = reinterpret_cast<const Sample*>(matte());
    for (std::uint64_t i = 0; i < pixels(); ++i) {
        Sample* pixel = colour_buffer + i * size;
        for (std::size_t c = size - 3; c < size; ++c) {
            pixel[c] = static_cast<Sample>(change(pixel[c], matte_buffer[i], most));
        }
    }
}

void Picture::change_colours(int (*change)(int colour, int matte, int most)) {
    if (kind_ == TRELLIS_KIND_CUTOUT && has_words()) {
        change_colours<std::uint16_t>(change);
    } else if (kind_ == TRELLIS_KIND_CUTOUT) {
        change_colours<std::uint8_t>(change);
    }
}

void Picture::premultiply() {
    change_colours([](int colour, int matte, int most) {
        return std::min((colour * matte + most / 2) / most, most);
    });
}

void Picture::unpremultiply() {
    change_colours([](int colour, int matte, int most) {
        return matte == 0 ? 0 : std::min((colour * most + matte / 2) / matte, most);
    });
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

}  // namespace trellis::host
