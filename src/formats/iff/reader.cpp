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
#include "formats/iff/pixels.h"
#include "formats/iff/run_length.h"
#include "frame/file.h"
#include "frame/memory.h"

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
            if (Error error = read_iff_chunk_header(file_, Forms::entered, chunk); failed(error)) {
                return error;
            }
            // Depths may stand among the tiles, and nothing else.
            if (chunk.tag == tile_tag) {
                const float done = static_cast<float>(k) / static_cast<float>(count);
                if (Error error = load_tile(chunk, done); failed(error)) {
                    return error;
                }
                ++k;
            } else if (chunk.tag != depth_tag) {
                return Error::read;
            }
            if (Error error = skip_chunk(file_, chunk); failed(error)) {
                return error;
            }
        }
        return Error::none;
    }

  private:
    Error load_tile(const Chunk& chunk, float done) {
        tile_header corners{};
        if (chunk.size < sizeof corners) {
            return Error::read;
        }
        if (Error error = file_.read_record(corners); failed(error)) {
            return error;
        }
        occaisional_update_progress_trellis_(done);
        const Rectangle tile{corners.x0, corners.y0, corners.x1, corners.y1};
        if (tile.empty()) {
            return Error::read;
        }
        if (!overlap(tile, destination_.wanted())) {
            return Error::none;
        }
        // The size alone tells a raw tile from a coded one.
        const auto area = static_cast<std::uint64_t>(tile.width() * tile.height());
        const std::uint64_t raw_size = area * header_.channels();
        const std::uint64_t size = chunk.size - sizeof corners;
        return size >= raw_size ? load_raw(tile, raw_size) : load_coded(tile, raw_size, size);
    }

    Error load_raw(const Rectangle& tile, std::uint64_t raw_size) {
        const std::size_t channels = header_.channels();
        if (channels == 0) {
            return Error::none;
        }
        if (raw_size > file_.remaining()) {
            return Error::read;
        }
        const Rectangle visible = intersection(tile, destination_.wanted());
        // Samples left and right of the visible ones are read past as long as they are few.
        const auto hidden = static_cast<std::uint64_t>(tile.width() - visible.width()) * channels;
        const std::size_t read_ahead = hidden <= walking_step ? io_buffer_size : 0;
        const std::uint64_t start = file_.position();
        for (std::int64_t y = visible.y0; y <= visible.y1; ++y) {
            const auto skipped =
                static_cast<std::uint64_t>((y - tile.y0) * tile.width() + (visible.x0 - tile.x0));
            if (failed(file_.seek(start + skipped * channels))) {
                return Error::read;
            }
            for (std::int64_t x = visible.x0; x <= visible.x1;) {
                const std::size_t count = piece_size(visible.x1 - x + 1);
                const std::size_t size = count * channels;
                const std::span<const std::uint8_t> samples = file_.window(size, read_ahead);
                if (samples.size() < size) {
                    return Error::read;
                }
                spread_samples(samples.data(), count);
                destination_.store(piece_.data(), count, x, y);
                file_.consume(size);
                x += static_cast<std::int64_t>(count);
            }
        }
        return Error::none;
    }

    void spread_samples(const std::uint8_t* samples, std::size_t count) {
        switch (header_.channels()) {
            case 4:
                std::memcpy(piece_.data(), samples, count * sizeof(Pixel));
                break;
            case 3:
                expand_colour(samples, count, piece_.data());
                break;
            default:
                join_planes({.alpha = samples}, count, piece_.data());
        }
    }

    Error load_coded(const Rectangle& tile, std::uint64_t raw_size, std::uint64_t size) {
        // No code makes more of its bytes than runs of full length, so the memory that a tile can
        // ask for is bounded by what the file really holds.
        constexpr std::uint64_t most_raw_size = std::uint64_t{1} << 32;
        if (size > file_.remaining() || raw_size > most_raw_size ||
            raw_size > size / run_packet_size * most_covered) {
            return Error::read;
        }
        if (tile_.size() < raw_size) {
            if (Error error = tile_.allocate(raw_size); failed(error)) {
                return error;
            }
        }
        if (Error error = decode(tile_.span().first(raw_size), size); failed(error)) {
            return error;
        }
        const Rectangle visible = intersection(tile, destination_.wanted());
        destination_.store(planes_at(tile, visible.x0, visible.y0), visible);
        return Error::none;
    }

    // All planes are one stream of packets.
    Error decode(std::span<std::uint8_t> bytes, std::uint64_t code_size) {
        while (!bytes.empty()) {
            const auto wanted =
                static_cast<std::size_t>(std::min<std::uint64_t>(code_size, io_buffer_size));
            std::span<const std::uint8_t> code = file_.window(wanted);
            code = code.first(std::min(wanted, code.size()));
            const Decoded done = decode_runs(code, bytes);
            if (done.read == 0) {
                return Error::read;
            }
            file_.consume(done.read);
            code_size -= done.read;
            bytes = bytes.subspan(done.written);
        }
        return Error::none;
    }

    // The planes of the tile in hand, from pixel (x, y) of the picture on. The alpha plane comes
    // first, then blue, green and red.
    Planes planes_at(const Rectangle& tile, std::int64_t x, std::int64_t y) {
        const std::int64_t area = tile.width() * tile.height();
        const std::uint8_t* next = tile_.data() + (y - tile.y0) * tile.width() + (x - tile.x0);
        Planes planes = {.pitch = static_cast<std::size_t>(tile.width())};
        if (header_.has_alpha()) {
            planes.alpha = next;
            next += area;
        }
        if (header_.has_colour()) {
            planes.blue = next;
            planes.green = next + area;
            planes.red = next + 2 * area;
        }
        return planes;
    }

    static std::size_t piece_size(std::int64_t left) {
        return static_cast<std::size_t>(std::min<std::int64_t>(left, piece_pixels));
    }

    InputFile& file_;
    const maya_header& header_;
    const Destination& destination_;
    Block<std::uint8_t> tile_;  // the planes of a coded tile; it grows to the largest
    std::array<Pixel, piece_pixels> piece_;
};

Error load_picture(InputFile& file, const Buffers& buffers, const Rectangle& rectangle, int file_x,
                   int file_y) {
    maya_header header{};
    if (Error error = read_maya_header(file, header); failed(error)) {
        return error;
    }
    Chunk bitmap{};
    if (Error error = find_chunk(file, Forms::entered, bitmap_tag, bitmap); failed(error)) {
        return error;
    }
    const Destination destination(buffers, header, rectangle, file_x, file_y);
    return TileReader(file, header, destination).load();
}

}  // namespace

Error read_maya_pic(const char* name, const Buffers& buffers, const Rectangle& rectangle,
                    int file_x, int file_y) {
    InputFile file;
    if (Error error = file.open(name); failed(error)) {
        return error;
    }
    Error result = load_picture(file, buffers, rectangle, file_x, file_y);
    if (Error error = file.close(); failed(error)) {
        result = error;
    }
    return result;
}

}  // namespace trellis::iff
