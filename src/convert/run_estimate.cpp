// Would coding in runs of a count and a value make rows smaller?

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "trellis/convert.h"

#include "frame/raster.h"

namespace {

using namespace trellis;

// A run is at most 255 equal samples and takes two bytes.
int channel_estimate(const std::uint8_t* samples, std::size_t step, std::int64_t count) {
    int bytes = 0;
    int length = 0;
    for (std::int64_t i = 0; i < count; ++i, samples += step) {
        if (length == 0 || length == 255 || *samples != *(samples - step)) {
            bytes += 2;
            length = 0;
        }
        ++length;
    }
    return bytes;
}

int pixel_estimate(const std::uint8_t* pixels, int first_channel, std::int64_t count) {
    int bytes = 0;
    for (int channel = first_channel; channel < 4; ++channel) {
        bytes += channel_estimate(pixels + channel, 4, count);
    }
    return bytes;
}

/// Samples ten rows that begin a twenty-second of the rectangle above its first row, and compares
/// the sum of their estimates with their plain size. Rectangles that end earlier give fewer rows.
template <class View, class RowEstimate>
int coding_pays(View view, const Rectangle& rectangle, int channels, RowEstimate estimate) {
    if (rectangle.empty()) {
        return 0;
    }
    const std::int64_t first = rectangle.y0 + rectangle.height() / 22;
    const std::int64_t rows = std::min<std::int64_t>(10, rectangle.y1 - first + 1);
    std::int64_t sum = 0;
    for (std::int64_t y = first; y < first + rows; ++y) {
        sum += estimate(view.pixel(rectangle.x0, y), rectangle.width());
    }
    return rows * channels * rectangle.width() > sum ? 1 : 0;
}

}  // namespace

int check_line_for_compression(const unsigned char* line, int count) {
    return pixel_estimate(line, 1, count);
}

int check_rgba_line_for_compression(const unsigned char* line, int count) {
    return pixel_estimate(line, 0, count);
}

int check_mask_line_for_compression(const unsigned char* line, int count) {
    return channel_estimate(line, 1, count);
}

int check_buff_for_compression(int /*reserved*/, const void* buffer, int pitch, int x0, int y0,
                               int x1, int y1) {
    return coding_pays(
        ColourSource8(buffer, pitch), {x0, y0, x1, y1}, 3,
        [](const std::uint8_t* row, std::int64_t count) { return pixel_estimate(row, 1, count); });
}

int check_rgba_buff_for_compression(int reserved, const void* buffer, int pitch, int x0, int y0,
                                    int x1, int y1) {
    return check_buff_for_compression(reserved, buffer, pitch, x0, y0, x1, y1);
}

int check_mask_buff_for_compression(int /*reserved*/, const void* buffer, int pitch, int x0, int y0,
                                    int x1, int y1) {
    return coding_pays(MatteSource8(buffer, pitch), {x0, y0, x1, y1}, 1,
                       [](const std::uint8_t* row, std::int64_t count) {
                           return channel_estimate(row, 1, count);
                       });
}
