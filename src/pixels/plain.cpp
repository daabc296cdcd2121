#include "pixels/plain.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "pixels/layouts.h"

namespace trellis::pixels::plain {

namespace {

template <class Sample>
auto* colours_of(Sample* colour, std::size_t x) {
    using L = Layout<std::remove_const_t<Sample>>;
    return colour + L::colour_samples * x + L::first_colour;
}

}  // namespace

template <class Sample>
void join(const Sample* colour, const Sample* matte, Sample* cutout, std::size_t count) {
    for (std::size_t x = count; x-- > 0;) {
        const Sample* from = colours_of(colour, x);
        const Sample blue = from[0];
        const Sample green = from[1];
        const Sample red = from[2];
        Sample* to = cutout + 4 * x;
        to[0] = matte == nullptr ? Layout<Sample>::opaque : matte[x];
        to[1] = blue;
        to[2] = green;
        to[3] = red;
    }
}

template <class Sample>
void extract_colours(const Sample* cutout, Sample* colour, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x) {
        const Sample* from = cutout + 4 * x;
        Sample* to = colours_of(colour, x);
        to[0] = from[1];
        to[1] = from[2];
        to[2] = from[3];
    }
}

template <class Sample>
void extract_matte(const Sample* cutout, Sample* matte, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x) {
        matte[x] = cutout[4 * x];
    }
}

template <class Sample>
void insert_matte(const Sample* matte, Sample* cutout, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x) {
        cutout[4 * x] = matte[x];
    }
}

template <class Sample>
void colour_to_mask(const Sample* colour, Sample* mask, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x) {
        const Sample* from = colours_of(colour, x);
        mask[x] = grey(from[0], from[1], from[2]);
    }
}

template <class Sample>
void mask_to_colour(const Sample* mask, Sample* colour, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x) {
        Sample* to = colours_of(colour, x);
        to[0] = to[1] = to[2] = mask[x];
    }
}

void widen(const std::uint8_t* from, std::uint16_t* to, std::size_t samples) {
    for (std::size_t i = 0; i < samples; ++i) {
        to[i] = widened(from[i]);
    }
}

void narrow(const std::uint16_t* from, std::uint8_t* to, std::size_t samples) {
    for (std::size_t i = 0; i < samples; ++i) {
        to[i] = narrowed(from[i]);
    }
}

void widen_colours(const std::uint8_t* from, std::uint16_t* to, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x) {
        for (std::size_t c = 0; c < 3; ++c) {
            to[3 * x + c] = widened(from[4 * x + 1 + c]);
        }
    }
}

void narrow_colours(const std::uint16_t* from, std::uint8_t* to, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x) {
        for (std::size_t c = 0; c < 3; ++c) {
            to[4 * x + 1 + c] = narrowed(from[3 * x + c]);
        }
    }
}

void widen_mattes(const std::uint8_t* cutout, std::uint16_t* matte, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x) {
        matte[x] = widened(cutout[4 * x]);
    }
}

void unpremultiply(std::uint8_t* cutout, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x) {
        std::uint8_t* pixel = cutout + 4 * x;
        const int matte = 255 - pixel[0];
        pixel[0] = static_cast<std::uint8_t>(matte);
        for (int c = 1; c <= 3; ++c) {
            pixel[c] = matte == 0 ? 0 : static_cast<std::uint8_t>(pixel[c] * 255 / matte);
        }
    }
}

void premultiply(std::uint8_t* cutout, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x) {
        std::uint8_t* pixel = cutout + 4 * x;
        const int matte = pixel[0];
        pixel[0] = static_cast<std::uint8_t>(255 - matte);
        if (matte != 255) {
            for (int c = 1; c <= 3; ++c) {
                pixel[c] = static_cast<std::uint8_t>((pixel[c] * matte) >> 8);
            }
        }
    }
}

void expand(const std::uint8_t* samples, std::size_t first, std::uint8_t* row, std::size_t count) {
    const std::size_t fourth = (first + 3) % 4;
    for (std::size_t x = 0; x < count; ++x) {
        row[4 * x + fourth] = 0;
        std::memcpy(row + 4 * x + first, samples + 3 * x, 3);
    }
}

void pack(const std::uint8_t* row, std::size_t first, std::uint8_t* samples, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x) {
        std::memcpy(samples + 3 * x, row + 4 * x + first, 3);
    }
}

void store_reversed(const std::uint8_t* row, std::uint8_t* colour, std::uint8_t* matte,
                    const std::uint8_t* /*next*/, std::size_t count) {
    if (colour != nullptr) {
        for (std::size_t x = 0; x < count; ++x) {
            colour[4 * x + 1] = row[4 * x + 2];
            colour[4 * x + 2] = row[4 * x + 1];
            colour[4 * x + 3] = row[4 * x];
        }
    }
    if (matte != nullptr) {
        extract_plane(row, 3, matte, count);
    }
}

void gather_reversed(const std::uint8_t* colour, const std::uint8_t* matte,
                     const std::uint8_t* /*next*/, std::uint8_t* row, std::size_t count) {
    if (colour == nullptr || matte == nullptr) {
        std::fill_n(row, 4 * count, std::uint8_t{0});
    }
    if (colour != nullptr) {
        for (std::size_t x = 0; x < count; ++x) {
            row[4 * x] = colour[4 * x + 3];
            row[4 * x + 1] = colour[4 * x + 2];
            row[4 * x + 2] = colour[4 * x + 1];
        }
    }
    if (matte != nullptr) {
        for (std::size_t x = 0; x < count; ++x) {
            row[4 * x + 3] = matte[x];
        }
    }
}

void extract_plane(const std::uint8_t* row, std::size_t byte, std::uint8_t* plane,
                   std::size_t count) {
    for (std::size_t x = 0; x < count; ++x) {
        plane[x] = row[4 * x + byte];
    }
}

void join_planes(const Planes& planes, std::uint8_t* cutout, std::size_t count) {
    if (planes.alpha == nullptr || planes.blue == nullptr) {
        std::fill_n(cutout, 4 * count, std::uint8_t{0});
    }
    if (planes.blue != nullptr) {
        for (std::size_t x = 0; x < count; ++x) {
            cutout[4 * x + 1] = planes.blue[x];
            cutout[4 * x + 2] = planes.green[x];
            cutout[4 * x + 3] = planes.red[x];
        }
    }
    if (planes.alpha != nullptr) {
        insert_matte(planes.alpha, cutout, count);
    }
}

void store_planes(const Planes& planes, std::size_t width, std::size_t height, ByteRows colour,
                  ByteRows matte) {
    for (std::size_t y = 0; y < height; ++y) {
        const Planes row = planes.from(0, y);
        for (std::size_t x = 0; x < width && colour.bytes != nullptr; ++x) {
            std::uint8_t* to = colour.row(y) + 4 * x;
            to[1] = row.blue[x];
            to[2] = row.green[x];
            to[3] = row.red[x];
        }
        if (matte.bytes != nullptr) {
            std::memcpy(matte.row(y), row.alpha, width);
        }
    }
}

namespace {

struct FilmPixel {
    std::uint32_t c0 = 0;
    std::uint32_t c1 = 0;
    std::uint32_t c2 = 0;
    std::uint32_t matte = 0;
};

constexpr std::uint32_t code_mask = 1023;

FilmPixel from_word(std::uint32_t word) {
    return {(word >> 2) & code_mask, (word >> 12) & code_mask, word >> 22, 0};
}

std::uint32_t to_word(const FilmPixel& pixel) {
    return (pixel.c2 & code_mask) << 22 | (pixel.c1 & code_mask) << 12 |
           (pixel.c0 & code_mask) << 2;
}

std::uint32_t word_at(const std::uint8_t* bytes) {
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
           std::uint32_t{bytes[2]} << 8 | bytes[3];
}

// Codes of up to 16 bits in the upper ends of two bytes each.
template <int bits, bool little>
FilmPixel from_halves(const std::uint8_t* bytes, bool matte) {
    const auto code = [bytes](std::size_t k) {
        const std::uint32_t high = bytes[2 * k + (little ? 1 : 0)];
        const std::uint32_t low = bytes[2 * k + (little ? 0 : 1)];
        return (high << 8 | low) >> (16 - bits);
    };
    return {code(2), code(1), code(0), matte ? code(3) : 0};
}

template <FilmLayout layout>
FilmPixel decode(const std::uint8_t* bytes) {
    constexpr bool matte = pixel_size(layout) == 8;
    switch (layout) {
        case FilmLayout::mask8:
            return {0, 0, 0, bytes[0]};
        case FilmLayout::colour8:
            return {bytes[2], bytes[1], bytes[0], 0};
        case FilmLayout::cutout8:
            return {bytes[2], bytes[1], bytes[0], bytes[3]};
        case FilmLayout::mask10:
            return {0, 0, 0, (bytes[0] * 256U + bytes[1]) >> 6};
        case FilmLayout::colour10:
            return from_word(word_at(bytes));
        case FilmLayout::colour10_little:
            return from_word(__builtin_bswap32(word_at(bytes)));
        case FilmLayout::cutout10: {
            FilmPixel pixel = from_word(word_at(bytes));
            pixel.matte = (bytes[3] & 3U) << 8 | bytes[4];
            return pixel;
        }
        case FilmLayout::colour12:
        case FilmLayout::cutout12:
            return from_halves<12, false>(bytes, matte);
        case FilmLayout::colour12_little:
        case FilmLayout::cutout12_little:
            return from_halves<12, true>(bytes, matte);
        case FilmLayout::colour16:
        case FilmLayout::cutout16:
            return from_halves<16, false>(bytes, matte);
        case FilmLayout::colour16_little:
        case FilmLayout::cutout16_little:
            return from_halves<16, true>(bytes, matte);
        default:
            return {};
    }
}

template <FilmLayout layout>
void encode(const FilmPixel& pixel, std::uint8_t* bytes) {
    if (layout == FilmLayout::mask10) {
        const std::uint32_t code = (pixel.matte >> 4) & code_mask;
        bytes[0] = static_cast<std::uint8_t>(code >> 2);
        bytes[1] = static_cast<std::uint8_t>((code & 3) << 6);
        return;
    }
    std::uint32_t word = to_word(pixel);
    if (layout == FilmLayout::cutout10) {
        word |= (pixel.matte >> 8) & 3;
        bytes[4] = static_cast<std::uint8_t>(pixel.matte);
    }
    for (int i = 0; i < 4; ++i) {
        bytes[i] = static_cast<std::uint8_t>(word >> (24 - 8 * i));
    }
}

template <FilmLayout layout, FilmCodes codes>
std::uint16_t sample(std::uint32_t code) {
    const auto sample = static_cast<std::uint16_t>(code);
    if constexpr (codes == FilmCodes::kept || layout == FilmLayout::none) {
        return sample;
    } else {
        return scaled<code_bits(layout)>(sample);
    }
}

template <FilmLayout layout, FilmCodes codes>
void unpack(const std::uint8_t* bytes, std::size_t count, std::uint16_t* colour,
            std::uint16_t* matte) {
    constexpr std::size_t size = pixel_size(layout);
    for (std::size_t i = 0; i < count && colour != nullptr; ++i) {
        const FilmPixel pixel = decode<layout>(bytes + size * i);
        colour[3 * i] = sample<layout, codes>(pixel.c0);
        colour[3 * i + 1] = sample<layout, codes>(pixel.c1);
        colour[3 * i + 2] = sample<layout, codes>(pixel.c2);
    }
    for (std::size_t i = 0; i < count && matte != nullptr; ++i) {
        matte[i] = sample<layout, codes>(decode<layout>(bytes + size * i).matte);
    }
}

using Unpack = void (*)(const std::uint8_t*, std::size_t, std::uint16_t*, std::uint16_t*);

template <FilmCodes codes, std::size_t... layout>
constexpr std::array<Unpack, film_layout_count> unpackers(
    std::index_sequence<layout...> /*of all*/) {
    return {unpack<static_cast<FilmLayout>(layout), codes>...};
}

template <FilmLayout layout>
void pack(const std::uint16_t* colour, const std::uint16_t* matte, std::size_t count,
          std::uint8_t* bytes) {
    for (std::size_t i = 0; i < count; ++i) {
        FilmPixel pixel;
        if (colour != nullptr) {
            pixel = {colour[3 * i], colour[3 * i + 1], colour[3 * i + 2], 0};
        }
        if (matte != nullptr) {
            pixel.matte = matte[i];
        }
        encode<layout>(pixel, bytes + pixel_size(layout) * i);
    }
}

}  // namespace

void unpack_film(FilmLayout layout, FilmCodes codes, const std::uint8_t* bytes, std::size_t count,
                 std::uint16_t* colour, std::uint16_t* matte) {
    constexpr auto kept = unpackers<FilmCodes::kept>(std::make_index_sequence<film_layout_count>());
    constexpr auto scaled =
        unpackers<FilmCodes::scaled>(std::make_index_sequence<film_layout_count>());
    const auto& all = codes == FilmCodes::kept ? kept : scaled;
    all[static_cast<std::size_t>(layout)](bytes, count, colour, matte);
}

void pack_film(FilmLayout layout, const std::uint16_t* colour, const std::uint16_t* matte,
               std::size_t count, std::uint8_t* bytes) {
    switch (layout) {
        case FilmLayout::mask10:
            return pack<FilmLayout::mask10>(nullptr, matte, count, bytes);
        case FilmLayout::cutout10:
            return pack<FilmLayout::cutout10>(colour, matte, count, bytes);
        default:
            return pack<FilmLayout::colour10>(colour, nullptr, count, bytes);
    }
}

namespace {

template <std::size_t size>
void transpose_elements(const std::uint8_t* from, std::ptrdiff_t from_pitch, std::uint8_t* to,
                        std::ptrdiff_t to_pitch, std::size_t rows, std::size_t columns) {
    for (std::size_t row = 0; row < rows; ++row, from += from_pitch, to += size) {
        std::uint8_t* target = to;
        for (std::size_t column = 0; column < columns; ++column, target += to_pitch) {
            std::memcpy(target, from + size * column, size);
        }
    }
}

// Four words by four: pairs of rows are dealt into each other twice, as on every processor that has
// 16-byte registers.
void transpose_block(const std::uint8_t* from, std::ptrdiff_t from_pitch, std::uint8_t* to,
                     std::ptrdiff_t to_pitch) {
    using Words [[gnu::vector_size(16)]] = std::uint32_t;
    Words rows[4];
    for (std::ptrdiff_t i = 0; i < 4; ++i) {
        std::memcpy(&rows[i], from + i * from_pitch, sizeof rows[i]);
    }
    const Words low02 = __builtin_shufflevector(rows[0], rows[2], 0, 4, 1, 5);
    const Words high02 = __builtin_shufflevector(rows[0], rows[2], 2, 6, 3, 7);
    const Words low13 = __builtin_shufflevector(rows[1], rows[3], 0, 4, 1, 5);
    const Words high13 = __builtin_shufflevector(rows[1], rows[3], 2, 6, 3, 7);
    const Words columns[4] = {
        __builtin_shufflevector(low02, low13, 0, 4, 1, 5),
        __builtin_shufflevector(low02, low13, 2, 6, 3, 7),
        __builtin_shufflevector(high02, high13, 0, 4, 1, 5),
        __builtin_shufflevector(high02, high13, 2, 6, 3, 7),
    };
    for (std::ptrdiff_t i = 0; i < 4; ++i) {
        std::memcpy(to + i * to_pitch, &columns[i], sizeof columns[i]);
    }
}

void transpose_words(const std::uint8_t* from, std::ptrdiff_t from_pitch, std::uint8_t* to,
                     std::ptrdiff_t to_pitch, std::size_t rows, std::size_t columns) {
    const std::size_t even_rows = rows & ~std::size_t{3};
    const std::size_t even_columns = columns & ~std::size_t{3};
    for (std::size_t row = 0; row < even_rows; row += 4, from += 4 * from_pitch, to += 16) {
        for (std::size_t column = 0; column < even_columns; column += 4) {
            transpose_block(from + 4 * column, from_pitch,
                            to + static_cast<std::ptrdiff_t>(column) * to_pitch, to_pitch);
        }
        transpose_elements<4>(from + 4 * even_columns, from_pitch,
                              to + static_cast<std::ptrdiff_t>(even_columns) * to_pitch, to_pitch,
                              4, columns - even_columns);
    }
    transpose_elements<4>(from, from_pitch, to, to_pitch, rows - even_rows, columns);
}

}  // namespace

void transpose(std::size_t size, const std::uint8_t* from, std::ptrdiff_t from_pitch,
               std::uint8_t* to, std::ptrdiff_t to_pitch, std::size_t rows, std::size_t columns) {
    using Transpose = void (*)(const std::uint8_t*, std::ptrdiff_t, std::uint8_t*, std::ptrdiff_t,
                               std::size_t, std::size_t);
    constexpr Transpose by_size[] = {
        transpose_elements<1>, transpose_elements<2>, transpose_elements<3>, transpose_words,
        transpose_elements<5>, transpose_elements<6>, transpose_elements<7>, transpose_elements<8>};
    by_size[size - 1](from, from_pitch, to, to_pitch, rows, columns);
}

namespace {

template <class Same>
std::size_t find_runs(std::size_t count, std::size_t shortest, Run* runs, Same same) {
    std::size_t found = 0;
    for (std::size_t begin = 0, end = 0; begin < count; begin = end) {
        end = begin + 1;
        while (end < count && same(begin, end)) {
            ++end;
        }
        if (end - begin >= shortest) {
            runs[found++] = {begin, end};
        }
    }
    return found;
}

}  // namespace

std::size_t find_byte_runs(const std::uint8_t* bytes, std::size_t size, Run* runs) {
    return find_runs(size, 3, runs,
                     [=](std::size_t a, std::size_t b) { return bytes[a] == bytes[b]; });
}

std::size_t find_pixel_runs(const std::uint8_t* row, std::size_t count, Run* runs) {
    return find_runs(count, 2, runs, [=](std::size_t a, std::size_t b) {
        return std::memcmp(row + 4 * a, row + 4 * b, 4) == 0;
    });
}

std::size_t find_run_end(const std::uint8_t* bytes, std::size_t from, std::size_t size,
                         std::uint8_t value) {
    while (from < size && bytes[from] == value) {
        ++from;
    }
    return from;
}

// Packets are made in steps of this size for as long as what they read and write beyond the packet
// is there. That spares a call for every packet, most being short.
constexpr std::size_t step = 32;
constexpr std::size_t most_covered = 128;

Decoded decode_packets(const std::uint8_t* packets, std::size_t size, std::uint8_t* bytes,
                       std::size_t room) {
    Decoded done{};
    while (size - done.read >= 2) {
        const std::uint8_t* from = packets + done.read;
        std::uint8_t* to = bytes + done.written;
        const bool is_run = from[0] >= 128;
        const std::size_t covered = from[0] % 128 + std::size_t{1};
        const std::size_t taken = is_run ? 2 : 1 + covered;
        if (taken > size - done.read || covered > room - done.written) {
            break;
        }
        const bool in_steps =
            room - done.written >= most_covered && (is_run || size - done.read > most_covered);
        const std::size_t at_once = in_steps ? step : covered;
        for (std::size_t x = 0; x < covered; x += at_once) {
            if (is_run) {
                std::memset(to + x, from[1], at_once);
            } else {
                std::memcpy(to + x, from + 1 + x, at_once);
            }
        }
        done.read += taken;
        done.written += covered;
    }
    return done;
}

template void join(const std::uint8_t*, const std::uint8_t*, std::uint8_t*, std::size_t);
template void join(const std::uint16_t*, const std::uint16_t*, std::uint16_t*, std::size_t);
template void extract_colours(const std::uint8_t*, std::uint8_t*, std::size_t);
template void extract_colours(const std::uint16_t*, std::uint16_t*, std::size_t);
template void extract_matte(const std::uint8_t*, std::uint8_t*, std::size_t);
template void extract_matte(const std::uint16_t*, std::uint16_t*, std::size_t);
template void insert_matte(const std::uint8_t*, std::uint8_t*, std::size_t);
template void insert_matte(const std::uint16_t*, std::uint16_t*, std::size_t);
template void colour_to_mask(const std::uint8_t*, std::uint8_t*, std::size_t);
template void colour_to_mask(const std::uint16_t*, std::uint16_t*, std::size_t);
template void mask_to_colour(const std::uint8_t*, std::uint8_t*, std::size_t);
template void mask_to_colour(const std::uint16_t*, std::uint16_t*, std::size_t);

}  // namespace trellis::pixels::plain
