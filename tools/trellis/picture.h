#pragma once

// A picture in memory, in the buffer layouts that the library's slots take.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "trellis/pic_format.h"

namespace tool {

/// Zeroed memory for the samples of a picture. Pages that nobody writes cost nothing, so a small
/// file with a large claim in its header does little harm.
class Samples {
  public:
    Samples() = default;

    /// Throws std::bad_alloc, also for more than the machine's memory.
    Samples(std::uint64_t pixels, std::size_t bytes_per_pixel);

    std::uint8_t* data() const { return data_.get(); }

  private:
    struct Free {
        void operator()(std::uint8_t* data) const { std::free(data); }
    };
    std::unique_ptr<std::uint8_t[], Free> data_;
};

/// A picture of 8-bit samples, or of 16-bit ones that run from 0 to 16383. Rows run upward: row 0
/// is the bottom line. Its kind says which of the two buffers it has: an image colour, a mask a
/// matte, a cutout both.
class Picture {
  public:
    static constexpr std::size_t colour_size =
        4;  // bytes of an 8-bit pixel: spare, blue, green, red
    enum Channel : std::size_t { blue = 1, green = 2, red = 3 };

    Picture() = default;

    /// A black picture; its matte, if it has one, is transparent. Throws std::bad_alloc.
    Picture(trellis_kind kind, int width, int height, int depth = 8);

    trellis_kind kind() const { return kind_; }
    int depth() const { return depth_; }
    int width() const { return width_; }
    int height() const { return height_; }
    std::uint64_t pixels() const { return std::uint64_t(width_) * std::uint64_t(height_); }

    /// Pixel (0, 0) of a buffer, null when the picture has none.
    std::uint8_t* colour() const { return colour_.data(); }
    std::uint8_t* matte() const { return matte_.data(); }

    /// The samples of a colour pixel that are not spare, as of `first_colour()`, are three.
    int colour_samples() const { return depth_ == 16 ? 3 : 4; }
    int first_colour() const { return colour_samples() - 3; }

    /// Pixel `x` of row `y` of the colour buffer, which an 8-bit picture must have; likewise the
    /// matte.
    std::uint8_t* colour_at(int x, int y) const { return colour() + index(x, y) * colour_size; }
    std::uint8_t* matte_at(int x, int y) const { return matte() + index(x, y); }

    /// Adds, drops or makes buffers until the picture is of the wanted kind: what has no matte is
    /// opaque, a mask becomes a grey image or the matte of a black cutout, and an image becomes a
    /// mask by its brightness.
    void turn_into(trellis_kind kind);

  private:
    Samples new_colour() const;
    Samples new_matte() const;
    void make_opaque();
    template <class Convert>
    void convert_rows(Convert convert);
    std::size_t index(int x, int y) const {
        return std::size_t(y) * std::size_t(width_) + std::size_t(x);
    }

    trellis_kind kind_ = TRELLIS_KIND_IMAGE;
    int width_ = 0;
    int height_ = 0;
    int depth_ = 8;
    Samples colour_;
    Samples matte_;
};

/// "image", "cutout", "mask" or "other".
const char* kind_name(trellis_kind kind);

}  // namespace tool
