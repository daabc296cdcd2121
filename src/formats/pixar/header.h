#pragma once

// The Pixar file as both the reader and the writer see it: header, tile pointer table, channel and
// storage values. docs/formats/pixar.md shows the whole layout.

#include <cstddef>
#include <cstdint>

#include "frame/byte_order.h"
#include "frame/error.h"
#include "frame/file.h"

namespace trellis::pixar {

/// Channel bits of `pixar_header::format`. Samples are stored in this order.
enum ChannelBit : std::uint16_t { red_bit = 8, green_bit = 4, blue_bit = 2, matte_bit = 1 };

inline constexpr std::uint16_t image_format = red_bit | green_bit | blue_bit;
inline constexpr std::uint16_t cutout_format = image_format | matte_bit;
inline constexpr std::uint16_t mask_format = matte_bit;

/// How many of the four channels a pixel carries; other bits of `format` mean nothing.
constexpr int channel_count(std::uint16_t format) {
    return __builtin_popcount(format & cutout_format);
}

/// Values of `pixar_header::storage`. "Deep" samples have 12 bits in 2 bytes.
enum Storage : std::uint16_t { packets = 0, deep_packets = 1, dumped = 2, deep_dumped = 3 };

constexpr bool is_deep(std::uint16_t storage) {
    return storage == deep_packets || storage == deep_dumped;
}

constexpr bool is_packed(std::uint16_t storage) {
    return storage == packets || storage == deep_packets;
}

constexpr bool is_dumped(std::uint16_t storage) {
    return storage == dumped || storage == deep_dumped;
}

/// The header at the start of every file. A number in an 8-byte field is in its first four
/// bytes; the last four are zero.
struct pixar_header {
    std::uint8_t magic[8];
    be16s version;
    char label[246];
    be32 label_pointer;
    be32 label_pointer_rest;
    std::uint8_t reserved_264[320];
    be16s height;
    be16s width;
    be16s tile_height;
    be16s tile_width;
    be16 format;
    be16 storage;
    be16s block_size;
    be16 reserved_598[3];
    std::uint8_t reserved_604[156];

    bool has_magic() const;
};

static_assert(sizeof(pixar_header) == 760);
static_assert(offsetof(pixar_header, label) == 10);
static_assert(offsetof(pixar_header, label_pointer) == 256);
static_assert(offsetof(pixar_header, height) == 584);
static_assert(offsetof(pixar_header, format) == 592);
static_assert(offsetof(pixar_header, block_size) == 596);

inline constexpr std::uint8_t magic[8] = {0x00, 0x00, 0xE8, 0x80, 0, 0, 0, 0};

/// A probe looks no further than the `format` field.
inline constexpr std::size_t probe_size = offsetof(pixar_header, storage);

/// Where one tile's data lie.
struct tile_pointer {
    be32 offset;
    be32 offset_rest;
    be32 length;
    be32 length_rest;

    bool is_absent() const { return offset == 0 || length == 0xFFFFFFFF; }
};

static_assert(sizeof(tile_pointer) == 16);

/// The tiles of a picture, counted row by row from the top left.
struct TileGrid {
    std::int64_t across;
    std::int64_t down;

    std::int64_t count() const { return across * down; }
};

/// The grid that covers the picture. Sizes below 1 make no grid: Error::unsupported.
Error tile_grid(const pixar_header& header, TileGrid& grid);

/// Reads the header from the start of the file: Error::read when it is short, Error::magic when it
/// is another format's.
Error read_pixar_header(InputFile& file, pixar_header& header);

}  // namespace trellis::pixar
