#include "sidedata/preview.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "trellis/sidedata.h"

namespace trellis::sidedata {

namespace {

// Where the picture lies in the preview, and how many of its pixels lie between two samples.
struct Fit {
    float step;
    Rectangle area;
};

std::int64_t truncated(float value) {
    return static_cast<std::int64_t>(value);
}

// The tighter direction decides the step; in the other one the picture is centred. Everything is
// single precision: another rounding would move edges and samples by a pixel.
Fit fit_picture(const Rectangle& picture, int preview_width, int preview_height, int least_end) {
    const auto width = static_cast<float>(picture.width());
    const auto height = static_cast<float>(picture.height());
    const auto across = static_cast<float>(preview_width);
    const auto down = static_cast<float>(preview_height);
    const bool is_wide = width / across > height / down;
    const float step = is_wide ? width / across : height / down;

    const std::int64_t margin_x = is_wide ? 0 : truncated((across - width / step) * 0.5F);
    const std::int64_t margin_y = is_wide ? truncated((down - height / step) * 0.5F) : 0;
    const std::int64_t x = std::max<std::int64_t>(0, margin_x);
    const std::int64_t y = std::max<std::int64_t>(0, margin_y);
    const auto end = [&](std::int64_t start, float size, int limit) {
        const std::int64_t fitted = truncated(static_cast<float>(start) + size / step);
        return std::max<std::int64_t>(std::min<std::int64_t>(fitted, limit), least_end);
    };
    return {step, {x, y, end(x, width, preview_width) - 1, end(y, height, preview_height) - 1}};
}

// The picture's column or row behind the preview's. A picture of less than half the preview's size
// would be sampled one beyond its last.
std::int64_t sampled(std::int64_t index, float step, std::int64_t size) {
    const float position = static_cast<float>(index) * step;
    const double nearest = std::floor(static_cast<double>(position) + 0.5);
    return std::min(static_cast<std::int64_t>(nearest), size - 1);
}

// The buffers of one depth, seen as preview pixels.
template <class Sample>
class Picture {
  public:
    explicit Picture(const PictureBuffers& buffers)
        : source_(buffers.source),
          colour_(buffers.rgb, buffers.pitch),
          matte_(buffers.alpha, buffers.pitch),
          cutout_(buffers.cut, buffers.pitch) {}

    bool is_complete() const {
        switch (source_) {
            case TRELLIS_MINIPIC_IMAGE:
                return static_cast<bool>(colour_);
            case TRELLIS_MINIPIC_CUTOUT:
                return colour_ && matte_;
            case TRELLIS_MINIPIC_MASK:
                return static_cast<bool>(matte_);
            case TRELLIS_MINIPIC_COMBINED:
                return static_cast<bool>(cutout_);
            default:
                return false;
        }
    }

    MinipicPixel at(std::int64_t x, std::int64_t y) const {
        switch (source_) {
            case TRELLIS_MINIPIC_IMAGE: {
                const Sample* colour = colour_.pixel(x, y) + spare;
                return pixel((colour[0] + colour[1] + colour[2]) / 3, colour);
            }
            case TRELLIS_MINIPIC_CUTOUT:
                return pixel(*matte_.pixel(x, y), colour_.pixel(x, y) + spare);
            case TRELLIS_MINIPIC_MASK: {
                const Sample matte = *matte_.pixel(x, y);
                const Sample grey[3] = {matte, matte, matte};
                return pixel(matte, grey);
            }
            default: {
                const Sample* cutout = cutout_.pixel(x, y);
                return pixel(*cutout, cutout + 1);
            }
        }
    }

  private:
    // An 8-bit colour pixel starts with a byte that is not colour.
    static constexpr int spare = sizeof(Sample) == 1 ? 1 : 0;

    // 16-bit samples have 14 bits; whatever lies above them is lost.
    static std::uint8_t narrowed(int sample) {
        return static_cast<std::uint8_t>(sizeof(Sample) == 1 ? sample : sample >> 6);
    }

    static MinipicPixel pixel(int matte, const Sample* colour) {
        return {narrowed(matte), narrowed(colour[0]), narrowed(colour[1]), narrowed(colour[2])};
    }

    int source_;
    BufferView<const Sample, 3 + spare> colour_;
    BufferView<const Sample, 1> matte_;
    BufferView<const Sample, 4> cutout_;
};

template <class Sample>
void draw_preview(const Picture<Sample>& picture, const Rectangle& rectangle, int least_end,
                  Preview& preview) {
    if (preview.pixels.size() == 0 || rectangle.empty() || !picture.is_complete()) {
        return;
    }
    const int width = preview.record.width;
    const auto [step, area] = fit_picture(rectangle, width, preview.record.height, least_end);
    for (std::int64_t j = 0; j < area.height(); ++j) {
        const std::int64_t y = rectangle.y0 + sampled(j, step, rectangle.height());
        MinipicPixel* row = preview.pixels.data() + (area.y0 + j) * width + area.x0;
        for (std::int64_t i = 0; i < area.width(); ++i) {
            row[i] = picture.at(rectangle.x0 + sampled(i, step, rectangle.width()), y);
        }
    }
}

}  // namespace

void draw_preview_8(const PictureBuffers& buffers, const Rectangle& rectangle, int least_end,
                    Preview& preview) {
    draw_preview(Picture<std::uint8_t>(buffers), rectangle, least_end, preview);
}

void draw_preview_16(const PictureBuffers& buffers, const Rectangle& rectangle, int least_end,
                     Preview& preview) {
    draw_preview(Picture<std::uint16_t>(buffers), rectangle, least_end, preview);
}

}  // namespace trellis::sidedata
