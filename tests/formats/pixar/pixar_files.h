#pragma once

// Pixar files put together byte by byte, for the tests of everything that reads them.

#include <string>

#include "support/formats.h"
#include "support/support.h"

namespace support {

/// The fields of a header that tests vary.
struct PixarHeader {
    int width = 4;
    int height = 2;
    int tile_width = 4;
    int tile_height = 2;
    int format = 15;
    int storage = 2;
    int block_size = 8192;
    int version = 0;

    Bytes bytes() const {
        Bytes header = zeros(760);
        put(header, 0, hex("00 00 E8 80"));
        put(header, 8, be(static_cast<std::uint64_t>(version), 2));
        const int fields[] = {height, width, tile_height, tile_width, format, storage, block_size};
        for (std::size_t i = 0; i < std::size(fields); ++i) {
            put(header, 584 + 2 * i, be(static_cast<std::uint64_t>(fields[i]), 2));
        }
        return header;
    }
};

inline Bytes tile_pointer(std::uint64_t offset, std::uint64_t length) {
    return be(offset, 4) + zeros(4) + be(length, 4) + zeros(4);
}

/// A whole file: header, table, and the data of the tiles one after the other. An empty tile is
/// absent.
inline Bytes pixar_file(const PixarHeader& header, const std::vector<Bytes>& tiles) {
    Bytes table, data;
    for (const Bytes& tile : tiles) {
        const std::size_t offset = 760 + 16 * tiles.size() + data.size();
        table = table + (tile.empty() ? tile_pointer(0, 0) : tile_pointer(offset, tile.size()));
        data = data + tile;
    }
    return header.bytes() + table + data;
}

}  // namespace support
