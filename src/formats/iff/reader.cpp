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
#include "formats/iff/run_length.h"
#include "formats/iff/tile_code.h"
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
            // Depths may stand among the tiles, and nothing else.
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
        if (chunk.size < sizeof corners) {
            return Error::read;
        }
        TRELLIS_TRY(file_.read_record(corners));
        occaisional_update_progress_trellis_(done);
        const Rectangle tile{corners.x0, corners.y0, corners.x1, corners.y1};
        if (tile.empty()) {
            return Error::read;
        }
        const Rectangle visible = intersection(tile, destination_.wanted());
        if (visible.empty()) {
            return Error::none;
        }
        // The size alone tells a raw tile from a coded one.
        const auto area = static_cast<std::uint64_t>(tile.width() * tile.height());
        const std::uint64_t raw_size = area * header_.channels();
        const std::uint64_t size = chunk.size - sizeof corners;
        return size >= raw_size ? load_raw(tile, visible, raw_size)
                                : load_coded(tile, visible, raw_size, size);
    }

    Error load_raw(const Rectangle& tile, const Rectangle& visible, std::uint64_t raw_size) {
        const std::size_t channels = header_.channels();
        if (channels == 0) {
            return Error::none;
        }
        if (raw_size > file_.remaining()) {
            return Error::read;
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
        return Error::none;
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

    Error load_coded(const Rectangle& tile, const Rectangle& visible, std::uint64_t raw_size,
                     std::uint64_t size) {
        // Runs of full length are all that a code can make of its bytes: what claims to be more is
        // refused before memory is taken for it.
        constexpr std::uint64_t most_raw_size = std::uint64_t{1} << 32;
        if (size > file_.remaining() || raw_size > most_raw_size ||
            raw_size > size / run_packet_size * most_covered) {
            return Error::read;
        }
        const auto pitch = static_cast<std::uint64_t>(tile.width());
        const Rows rows = {static_cast<std::uint64_t>(visible.y0 - tile.y0) * pitch,
                           static_cast<std::uint64_t>(visible.height()) * pitch,
                           static_cast<std::uint64_t>(tile.y1 - visible.y1) * pitch};
        TRELLIS_TRY(decode_planes(size, rows));
        const auto column = static_cast<std::size_t>(visible.x0 - tile.x0);
        destination_.store(decoded_planes(rows.visible, pitch).from(column, 0), visible);
        return Error::none;
    }

    // The bytes of a plane that lie before, in and after the visible rows.
    struct Rows {
        std::uint64_t before;
        std::uint64_t visible;
        std::uint64_t after;
    };

    // All planes are one stream of packets, of which only the visible rows are kept.
    Error decode_planes(std::uint64_t code_size, const Rows& rows) {
        const std::uint64_t needed = header_.channels() * rows.visible;
        if (planes_.size() < needed) {
            TRELLIS_TRY(planes_.allocate(needed));
        }
        TileCode code(file_, code_size);
        for (std::size_t plane = 0; plane < header_.channels(); ++plane) {
            TRELLIS_TRY(code.skip(rows.before));
            TRELLIS_TRY(code.decode(planes_.span().subspan(plane * rows.visible, rows.visible)));
            TRELLIS_TRY(code.skip(rows.after));
        }
        return code.at_packet_end() ? Error::none : Error::read;
    }

    // The alpha plane comes first, then blue, green and red.
    pixels::Planes decoded_planes(std::uint64_t size, std::uint64_t pitch) {
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

    static std::size_t piece_size(std::int64_t left) {
        return static_cast<std::size_t>(std::min<std::int64_t>(left, piece_pixels));
    }

    InputFile& file_;
    const maya_header& header_;
    const Destination& destination_;
    Block<std::uint8_t> planes_;  // the visible rows of a coded tile; it grows to the most
    std::array<std::uint8_t, 4 * piece_pixels> piece_;
};

Error load_picture(InputFile& file, const Buffers& buffers, const Rectangle& rectangle, int file_x,
                   int file_y) {
    maya_header header{};
    TRELLIS_TRY(read_maya_header(file, header));
    Chunk bitmap{};
    TRELLIS_TRY(find_chunk(file, Forms::entered, bitmap_tag, bitmap));
    const Destination destination(buffers, header, rectangle, file_x, file_y);
    return TileReader(file, header, destination).load();
}

}  // namespace

Error read_maya_pic(const char* name, const Buffers& buffers, const Rectangle& rectangle,
                    int file_x, int file_y) {
    InputFile file;
    TRELLIS_TRY(file.open(name));
    Error result = load_picture(file, buffers, rectangle, file_x, file_y);
    if (Error error = file.close(); failed(error)) {
        result = error;
    }
    return result;
}

}  // namespace trellis::iff
