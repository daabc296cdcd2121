#include "png_coding.h"

#include <png.h>
#include <zlib.h>

#include <algorithm>
#include <limits>
#include <new>

namespace trellis::host {

namespace {

using Bytes = std::vector<unsigned char>;

// Level 6 for rows as they are is what other programs write most; with differences it would take
// five times as long for 5 % less.
constexpr PngCoding codings[] = {
    {PNG_FILTER_NONE, 6, Z_DEFAULT_STRATEGY},
    {PNG_FILTER_UP, 4, Z_DEFAULT_STRATEGY},
    {PNG_FILTER_UP, 1, Z_RLE},
};

// Rows from all over the picture, in bands of so many that the coder finds repetitions among them.
constexpr std::size_t bands = 8;
constexpr std::size_t band_rows = 8;
constexpr std::size_t most_of_row = 256 * 1024;

struct Sample {
    Bytes plain;
    Bytes differences;  // from the row above
};

Sample take_sample(std::size_t height, std::size_t row_bytes,
                   const std::function<void(std::size_t, unsigned char*)>& row) {
    Sample sample;
    Bytes above(row_bytes);
    Bytes current(row_bytes);
    const std::size_t used = std::min(row_bytes, most_of_row);
    const std::size_t distance = std::max(band_rows, height / bands);
    for (std::size_t start = 0; start < height; start += distance) {
        std::fill(above.begin(), above.end(), static_cast<unsigned char>(0));
        if (start > 0) {
            row(start - 1, above.data());
        }
        for (std::size_t y = start; y < std::min(height, start + band_rows); ++y) {
            row(y, current.data());
            sample.plain.insert(sample.plain.end(), current.begin(),
                                current.begin() + static_cast<std::ptrdiff_t>(used));
            for (std::size_t i = 0; i < used; ++i) {
                sample.differences.push_back(static_cast<unsigned char>(current[i] - above[i]));
            }
            current.swap(above);
        }
    }
    return sample;
}

std::size_t coded_size(const Bytes& bytes, const PngCoding& coding) {
    constexpr int largest_window = 15;
    constexpr int usual_memory = 8;
    z_stream stream{};
    if (deflateInit2(&stream, coding.level, Z_DEFLATED, largest_window, usual_memory,
                     coding.strategy) != Z_OK) {
        throw std::bad_alloc();
    }
    // Only the size is wanted.
    Bytes piece(64 * 1024);
    stream.next_in = const_cast<unsigned char*>(bytes.data());
    stream.avail_in = static_cast<uInt>(bytes.size());
    int result = Z_OK;
    while (result == Z_OK) {
        stream.next_out = piece.data();
        stream.avail_out = static_cast<uInt>(piece.size());
        result = deflate(&stream, Z_FINISH);
    }
    const std::size_t size = stream.total_out;
    deflateEnd(&stream);
    return size;
}

}  // namespace

PngCoding choose_png_coding(std::size_t height, std::size_t row_bytes, int level,
                            const std::function<void(std::size_t, unsigned char*)>& row) {
    const Sample sample = take_sample(height, row_bytes, row);
    PngCoding best{};
    std::size_t least = std::numeric_limits<std::size_t>::max();
    for (PngCoding coding : codings) {
        coding.level = level != 0 ? level : coding.level;
        const std::size_t size = coded_size(
            coding.filter == PNG_FILTER_NONE ? sample.plain : sample.differences, coding);
        if (size < least) {
            least = size;
            best = coding;
        }
    }
    return best;
}

}  // namespace trellis::host
