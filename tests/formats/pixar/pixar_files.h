#pragma once

// Pixar files put together byte by byte, and the cutouts that are loaded from files and saved to
// them.

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
    std::uint64_t magic = 0x0000'E880'0000'0000;

    Bytes bytes() const {
        Bytes header = be(magic, 8) + be(static_cast<std::uint64_t>(version), 2) + zeros(574);
        for (const int field : {height, width, tile_height, tile_width, format, storage, block_size}) {
            header = header + be(static_cast<std::uint64_t>(field), 2);
        }
        return header + zeros(162);
    }
};

inline Bytes tile_pointer(std::uint64_t offset, std::uint64_t length) {
    return be(offset, 4) + zeros(4) + be(length, 4) + zeros(4);
}

/// A whole file: header, table, and the data of the tiles one after the other. An empty tile is
/// absent.
inline Bytes pixar_file(const PixarHeader& header, const std::vector<Bytes>& tiles) {
    Bytes table;
    Bytes data;
    for (const Bytes& tile : tiles) {
        const std::size_t offset = 760 + 16 * tiles.size() + data.size();
        table = table + (tile.empty() ? tile_pointer(0, 0) : tile_pointer(offset, tile.size()));
        data = data + tile;
    }
    return header.bytes() + table + data;
}

inline Bytes repeated(const Bytes& bytes, std::size_t count) {
    Bytes all;
    for (std::size_t i = 0; i < count; ++i) { all.insert(all.end(), bytes.begin(), bytes.end()); }
    return all;
}

/// A cutout of guarded buffers, at (2, 1).
struct Cutout {
    static constexpr int x0 = 2;
    static constexpr int y0 = 1;

    Cutout(int w, int h) : width(w), height(h), colour(x0 + w, y0 + h, 4), matte(x0 + w, y0 + h, 1, 5) {}

    bool operator==(const Cutout&) const = default;

    int load(const std::string& name, int file_x = 0, int file_y = 0) {
        return pixar.load_cut_fn(name.c_str(), colour.data(), colour.pitch(), matte.data(), matte.pitch(), x0, y0,
                                 x0 + width - 1, y0 + height - 1, file_x, file_y);
    }

    int save(const std::string& name, int compress) {
        return pixar.save_cut_fn(name.c_str(), colour.data(), colour.pitch(), matte.data(), matte.pitch(), x0, y0,
                                 x0 + width - 1, y0 + height - 1, compress);
    }

    /// Where the red, green, blue and matte of its pixels stand, top row first: the order of files.
    std::vector<std::uint8_t*> samples() {
        std::vector<std::uint8_t*> all;
        for (int y = y0 + height - 1; y >= y0; --y) {
            for (int x = x0; x < x0 + width; ++x) {
                all.insert(all.end(), {&colour.at(x, y, 3), &colour.at(x, y, 2), &colour.at(x, y, 1), &matte.at(x, y)});
            }
        }
        return all;
    }

    Bytes values() {
        Bytes bytes;
        for (const std::uint8_t* sample : samples()) { bytes.push_back(*sample); }
        return bytes;
    }

    /// How many samples of both buffers, guards included, are no longer the filler.
    int written() const { return colour.written() + matte.written(); }

    int width;
    int height;
    Guarded<std::uint8_t> colour;
    Guarded<std::uint8_t> matte;
};

}  // namespace support
