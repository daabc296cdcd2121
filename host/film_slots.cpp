#include "film_slots.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <vector>

#include "trellis/errors.h"
#include "trellis/film.h"

namespace trellis::host {

namespace {

constexpr int colour_samples = 3;
constexpr int mask_shift = 16;  // a mask is divided by this when it is saved

struct Rectangle {
    int x0, y0, x1, y1;

    bool empty() const { return x0 > x1 || y0 > y1; }
    std::size_t width() const { return static_cast<std::size_t>(x1 - x0) + 1; }
    std::size_t height() const { return static_cast<std::size_t>(y1 - y0) + 1; }
};

std::uint16_t* row_of(void* buffer, int pitch, int samples, const Rectangle& at, std::size_t row) {
    const std::ptrdiff_t y = at.y0 + static_cast<std::ptrdiff_t>(row);
    return static_cast<std::uint16_t*>(buffer) + (y * pitch + at.x0) * samples;
}

/// Makes samples of the codes that a load has left in a rectangle. Those of 8-bit files fill the
/// range of samples too.
void scale_up(const char* name, void* buffer, int pitch, int samples, const Rectangle& at) {
    trellis_film_info info{};
    info.size = sizeof info;
    const bool bytes = info_film_trellis(name, &info) == 0 && info.bit_size == 8;
    for (std::size_t y = 0; buffer != nullptr && !at.empty() && y < at.height(); ++y) {
        std::uint16_t* row = row_of(buffer, pitch, samples, at, y);
        std::uint16_t* end = row + at.width() * static_cast<std::size_t>(samples);
        if (bytes) {
            std::transform(row, end, row, sample_of_byte);
        } else {
            std::transform(row, end, row, sample_of_code);
        }
    }
}

/// The codes of a rectangle's samples, without a gap between rows; the caller's buffer is not ours
/// to change. Empty without a buffer.
std::vector<std::uint16_t> scaled_down(void* buffer, int pitch, int samples, const Rectangle& at,
                                       int factor = 1) {
    std::vector<std::uint16_t> codes;
    if (buffer == nullptr || at.empty()) {
        return codes;
    }
    const std::size_t row_size = at.width() * static_cast<std::size_t>(samples);
    codes.resize(row_size * at.height());
    for (std::size_t y = 0; y < at.height(); ++y) {
        const std::uint16_t* row = row_of(buffer, pitch, samples, at, y);
        std::transform(row, row + row_size,
                       codes.begin() + static_cast<std::ptrdiff_t>(y * row_size),
                       [factor](std::uint16_t sample) {
                           return static_cast<std::uint16_t>(nearest_code(sample) * factor);
                       });
    }
    return codes;
}

/// The scaling slots over those of one format.
template <void (*init)(pic_format*)>
struct Scaled {
    static const pic_format& film() {
        static const pic_format format = [] {
            pic_format filled{};
            init(&filled);
            return filled;
        }();
        return format;
    }

    static int load_cut(const char* name, void* rgb, int pitch, void* alpha, int alpha_pitch,
                        int x0, int y0, int x1, int y1, int file_x, int file_y) {
        const int code = film().load_cut_fn(name, rgb, pitch, alpha, alpha_pitch, x0, y0, x1, y1,
                                            file_x, file_y);
        if (code == 0) {
            scale_up(name, rgb, pitch, colour_samples, {x0, y0, x1, y1});
            scale_up(name, alpha, alpha_pitch, 1, {x0, y0, x1, y1});
        }
        return code;
    }

    static int load_pic(const char* name, void* rgb, int pitch, int x0, int y0, int x1, int y1,
                        int file_x, int file_y) {
        const int code = film().load_pic_fn(name, rgb, pitch, x0, y0, x1, y1, file_x, file_y);
        if (code == 0) {
            scale_up(name, rgb, pitch, colour_samples, {x0, y0, x1, y1});
        }
        return code;
    }

    static int load_mask(const char* name, void* mask, int pitch, int x0, int y0, int x1, int y1,
                         int file_x, int file_y) {
        const int code = film().load_mask_fn(name, mask, pitch, x0, y0, x1, y1, file_x, file_y);
        if (code == 0) {
            scale_up(name, mask, pitch, 1, {x0, y0, x1, y1});
        }
        return code;
    }

    static int save_cut(const char* name, void* rgb, int pitch, void* alpha, int alpha_pitch,
                        int x0, int y0, int x1, int y1, int compress) try {
        const Rectangle at = {x0, y0, x1, y1};
        std::vector<std::uint16_t> colour = scaled_down(rgb, pitch, colour_samples, at);
        std::vector<std::uint16_t> matte = scaled_down(alpha, alpha_pitch, 1, at);
        return film().save_cut_fn(name, colour.data(), x1 - x0 + 1,
                                  matte.empty() ? nullptr : matte.data(), x1 - x0 + 1, 0, 0,
                                  x1 - x0, y1 - y0, compress);
    } catch (const std::bad_alloc&) {
        return TRELLIS_ALLOCATION_ERROR;
    }

    static int save_pic(const char* name, void* rgb, int pitch, int x0, int y0, int x1, int y1,
                        int compress) try {
        std::vector<std::uint16_t> colour =
            scaled_down(rgb, pitch, colour_samples, {x0, y0, x1, y1});
        return film().save_pic_fn(name, colour.data(), x1 - x0 + 1, 0, 0, x1 - x0, y1 - y0,
                                  compress);
    } catch (const std::bad_alloc&) {
        return TRELLIS_ALLOCATION_ERROR;
    }

    static int save_mask(const char* name, void* mask, int pitch, int x0, int y0, int x1, int y1,
                         int compress) try {
        std::vector<std::uint16_t> codes =
            scaled_down(mask, pitch, 1, {x0, y0, x1, y1}, mask_shift);
        return film().save_mask_fn(name, codes.data(), x1 - x0 + 1, 0, 0, x1 - x0, y1 - y0,
                                   compress);
    } catch (const std::bad_alloc&) {
        return TRELLIS_ALLOCATION_ERROR;
    }

    static void fill(pic_format* format) {
        *format = film();
        format->load_pic_fn = load_pic;
        format->save_pic_fn = save_pic;
        format->load_cut_fn = load_cut;
        format->save_cut_fn = save_cut;
        format->load_mask_fn = load_mask;
        format->save_mask_fn = save_mask;
    }
};

}  // namespace

const pic_format& code_slots(const pic_format& film) {
    return film.type == TRELLIS_TYPE_DPX ? Scaled<init_dpx_pic_>::film()
                                         : Scaled<init_smpte_pic_>::film();
}

void init_scaled_dpx_pic(pic_format* format) {
    Scaled<init_dpx_pic_>::fill(format);
}

void init_scaled_cineon_pic(pic_format* format) {
    Scaled<init_smpte_pic_>::fill(format);
}

}  // namespace trellis::host
