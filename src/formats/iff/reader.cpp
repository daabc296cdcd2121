#include "formats/iff/reader.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "trellis/settings.h"

#include "formats/iff/chunks.h"
#include "formats/iff/destination.h"
#include "formats/iff/header.h"
#include "formats/iff/packet_stream.h"
#include "formats/iff/run_length.h"
#include "frame/file.h"
#include "frame/memory.h"
#include "pixels/kernels.h"

namespace trellis::iff {

namespace {

/// Loads the tiles of one file.
class TileReader {
  public:
    TileReader(InputFile& file, const maya_header& header, const Destination& destination)
        : file_(file), header_(header), destination_(destination) {}

    /// Loads all tiles that the header counts, from the file's position onward.
    Error load() {
        const unsigned int count = header_.tiles;
        for (unsigned int k = 0; k < count;) {
            Chunk chunk{};
            TRELLIS_TRY(read_iff_chunk_header(file_, Forms::entered, chunk));
            // Depths may lie among the tiles, and nothing else.
            if (chunk.tag == tile_tag) {
                const float done = static_cast<float>(k) / static_cast<float>(count);
                TRELLIS_TRY(load_tile(chunk, done));
                ++k;
            } else if (chunk.tag != depth_tag) {
                return Error::read;
            }
            // What follows the last tile need not even be there.
            if (k < count) {
                TRELLIS_TRY(skip_chunk(file_, chunk));
            }
        }
        return Error::none;
    }

  private:
    Error load_tile(const Chunk& chunk, float done) {
        tile_header corners{};
        TRELLIS_TRY(peek(file_, &corners, sizeof corners));
        occaisional_update_progress_trellis_(done);
        const Rectangle tile{corners.x0, corners.y0, corners.x1, corners.y1};
        const Rectangle visible = intersection(tile, destination_.wanted());
        if (visible.empty()) {
            return Error::none;
        }
        if (chunk.size < sizeof corners) {
            return Error::read;
        }
        file_.consume(sizeof corners);
        // The size alone separates raw tiles from those in packets, which may use the padding too.
        const std::uint64_t raw_size = header_.channels() * area(tile);
        const std::uint64_t size = chunk.size - sizeof corners;
        return size >= raw_size ? load_raw(tile, visible, raw_size)
                                : load_packets(tile, visible, padded(size));
    }

    Error load_raw(const Rectangle& tile, const Rectangle& visible, std::uint64_t raw_size) {
        const std::size_t channels = header_.channels();
        if (channels == 0) {
            return Error::none;
        }
        // Samples left and right of the visible ones are read past as long as they are few.
        const auto hidden = static_cast<std::uint64_t>(tile.width() - visible.width()) * channels;
        const std::size_t read_ahead = hidden <= walking_step ? input_buffer_size : 0;
        const std::uint64_t start = file_.position();
        for (std::int64_t y = visible.y0; y <= visible.y1; ++y) {
            const auto skipped =
                static_cast<std::uint64_t>((y - tile.y0) * tile.width() + (visible.x0 - tile.x0));
            if (failed(file_.seek(start + skipped * channels))) {
                return Error::read;
            }
            if (file_.remaining() < static_cast<std::uint64_t>(visible.width()) * channels) {
                return Error::read;
            }
            for (std::int64_t x = visible.x0; x <= visible.x1;) {
                const std::size_t count = piece_size(visible.x1 - x + 1);
                const std::size_t size = count * channels;
                const std::span<const std::uint8_t> samples = file_.window(size, read_ahead);
                if (samples.size() < size) {
                    return Error::read;
                }
                destination_.store(as_cutout(samples.data(), count), count, x, y);
                file_.consume(size);
                x += static_cast<std::int64_t>(count);
            }
        }
        // The rows that are wanted may be there where others are not.
        return start + raw_size > file_.size() ? Error::read : Error::none;
    }

    /// Samples as cutout pixels, whatever channels there are.
    const std::uint8_t* as_cutout(const std::uint8_t* samples, std::size_t count) {
        switch (header_.channels()) {
            case 4:
                return samples;
            case 3:
                pixels::kernels().expand(samples, 1, piece_.data(), count);
                break;
            default:
                pixels::kernels().join_planes({.alpha = samples}, piece_.data(), count);
        }
        return piece_.data();
    }

    Error load_packets(const Rectangle& tile, Rectangle visible, std::uint64_t size) {
        // Runs of full length are all that packets can make of their bytes. Rows beyond that are
        // not there, whatever the tile claims, and no memory is taken for them.
        const std::uint64_t present = std::min(size, file_.remaining());
        keep_rows(present / run_packet_size * most_covered, tile, visible);
        if (visible.empty()) {
            return Error::read;
        }
        const std::uint64_t plane_size = area(visible);
        if (planes_.size() < header_.channels() * plane_size) {
            TRELLIS_TRY(planes_.allocate(header_.channels() * plane_size));
        }
        const pixels::Planes planes = decoded_planes(static_cast<std::size_t>(plane_size),
                                                     static_cast<std::size_t>(visible.width()));
        PacketStream stream(file_, size);
        const Error result = decode_planes(stream, tile, visible);
        keep_rows(stream.produced(), tile, visible);
        if (!visible.empty()) {
            destination_.store(planes, visible);
        }
        return result;
    }

    // Takes those rows away that `bytes` of a tile's planes, one after the other, leave incomplete.
    void keep_rows(std::uint64_t bytes, const Rectangle& tile, Rectangle& visible) const {
        const std::uint64_t before = (header_.channels() - 1) * area(tile);
        const std::uint64_t rows =
            bytes < before ? 0 : (bytes - before) / static_cast<std::uint64_t>(tile.width());
        visible.y1 = std::min(visible.y1, tile.y0 + static_cast<std::int64_t>(rows) - 1);
    }

    // All planes are one stream of packets, of which only the visible pixels are kept: a tile that
    // is visible as a whole in one piece, rows that are in one a plane, others one by one.
    Error decode_planes(PacketStream& stream, const Rectangle& tile, const Rectangle& visible) {
        if (area(visible) == area(tile)) {
            const auto size = static_cast<std::size_t>(header_.channels() * area(tile));
            TRELLIS_TRY(stream.decode({planes_.data(), size}));
            return stream.at_packet_end() ? Error::none : Error::read;
        }
        const std::int64_t rows = visible.width() == tile.width() ? visible.height() : 1;
        const auto size = static_cast<std::size_t>(rows * visible.width());
        std::uint8_t* to = planes_.data();
        for (unsigned int plane = 0; plane < header_.channels(); ++plane) {
            const std::uint64_t start = plane * area(tile);
            for (std::int64_t y = visible.y0; y <= visible.y1; y += rows, to += size) {
                const std::int64_t first = (y - tile.y0) * tile.width() + (visible.x0 - tile.x0);
                TRELLIS_TRY(
                    stream.skip(start + static_cast<std::uint64_t>(first) - stream.produced()));
                TRELLIS_TRY(stream.decode({to, size}));
            }
        }
        TRELLIS_TRY(stream.skip(header_.channels() * area(tile) - stream.produced()));
        return stream.at_packet_end() ? Error::none : Error::read;
    }

    // The alpha plane comes first, then blue, green and red.
    pixels::Planes decoded_planes(std::size_t size, std::size_t pitch) {
        const std::uint8_t* next = planes_.data();
        pixels::Planes planes = {.pitch = pitch};
        if (header_.has_alpha()) {
            planes.alpha = next;
            next += size;
        }
        if (header_.has_colour()) {
            planes.blue = next;
            planes.green = next + size;
            planes.red = next + 2 * size;
        }
        return planes;
    }

    static std::uint64_t area(const Rectangle& rectangle) {
        return static_cast<std::uint64_t>(rectangle.width() * rectangle.height());
    }

    static std::size_t piece_size(std::int64_t left) {
        return static_cast<std::size_t>(std::min<std::int64_t>(left, piece_pixels));
    }

    InputFile& file_;
    const maya_header& header_;
    const Destination& destination_;
    Block<std::uint8_t> planes_;  // what is visible of a tile in packets; it grows to the most
    std::array<std::uint8_t, 4 * piece_pixels> piece_;
};

Error load_picture(InputFile& file, const Buffers& buffers, const Rectangle& rectangle, int file_x,
                   int file_y, const Limits& limits) {
    maya_header header{};
    TRELLIS_TRY(read_maya_header(file, header));
    TRELLIS_TRY(limits.check(header.width, header.height, buffers.pixel_bytes()));
    Chunk bitmap{};
    TRELLIS_TRY(find_chunk(file, Forms::entered, bitmap_tag, bitmap));
    const Destination destination(buffers, header, rectangle, file_x, file_y);
    return TileReader(file, header, destination).load();
}

}  // namespace

Error read_maya_pic(const char* name, const Buffers& buffers, const Rectangle& rectangle,
                    int file_x, int file_y, const Limits& limits) {
    InputFile file;
    TRELLIS_TRY(file.open(name));
    Error result = load_picture(file, buffers, rectangle, file_x, file_y, limits);
    if (Error error = file.close(); failed(error)) {
        result = error;
    }
    return result;
}

}  // namespace trellis::iff
