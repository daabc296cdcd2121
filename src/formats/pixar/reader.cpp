#include "formats/pixar/reader.h"

#include <algorithm>
#include <cstdlib>
#include <span>

#include "trellis/settings.h"

#include "formats/pixar/header.h"
#include "formats/pixar/packets.h"
#include "frame/file.h"
#include "frame/memory.h"

namespace trellis::pixar {

namespace {

Error read_tile_pointers(InputFile& file, const TileGrid& grid, Block<tile_pointer>& table) {
    // The table is trusted only as far as the file can hold it.
    const auto count = static_cast<std::uint64_t>(grid.count());
    if (count > file.size() / sizeof(tile_pointer)) {
        return Error::read;
    }
    TRELLIS_TRY(table.allocate(count));
    return file.read(table.data(), table.size() * sizeof(tile_pointer));
}

// Where a tile lies among the buffer's pixels. Buffer rows run upward, tile rows downward: the
// bottom row of tiles begins at the picture's lowest row.
Rectangle place_tile(const pixar_header& header, const TileGrid& grid, std::int64_t row,
                     std::int64_t column, std::int64_t origin_x, std::int64_t origin_y) {
    const std::int64_t left = origin_x + column * header.tile_width;
    const std::int64_t bottom = origin_y + (grid.down - 1 - row) * header.tile_height;
    return {left, bottom, left + header.tile_width - 1, bottom + header.tile_height - 1};
}

bool overlap(const Rectangle& a, const Rectangle& b) {
    return a.x1 >= b.x0 && a.x0 <= b.x1 && a.y1 >= b.y0 && a.y0 <= b.y1;
}

Error load_tile(RowDecoder& decoder, const Rectangle& tile, const Rectangle& wanted,
                const Colour8& colour, const Matte8& matte) {
    Block<Pixel> memory;
    const auto width = static_cast<std::size_t>(tile.width());
    TRELLIS_TRY(memory.allocate(width + RowDecoder::row_margin));
    const std::span<Pixel> space = memory.span().first(width);
    const std::int64_t first = std::max(wanted.x0, tile.x0);
    const std::int64_t last = std::min(wanted.x1, tile.x1);
    const auto count = static_cast<std::size_t>(std::max<std::int64_t>(0, last - first + 1));

    decoder.start_tile();
    for (std::int64_t y = tile.y1; y >= tile.y0; --y) {
        occaisional_update_progress_trellis_(static_cast<float>(tile.y1 + 1 - y) /
                                             static_cast<float>(tile.y1 + 1));
        const bool visible = y >= wanted.y0 && y <= wanted.y1;
        const Pixel* row = nullptr;
        Error error = visible ? decoder.decode(space, row) : decoder.skip(space);
        if (failed(error)) {
            return error;
        }
        if (visible) {
            store_row(row + (first - tile.x0), count,
                      {.colour = colour.pixel(first, y),
                       .matte = matte.pixel(first, y),
                       .next_colour = colour.pixel(first, std::max(y - 1, wanted.y0))});
        }
    }
    return Error::none;
}

}  // namespace

Error load_pixar(const char* name, Colour8 colour, Matte8 matte, const Rectangle& rectangle,
                 int file_x, int file_y, const Limits& limits, std::uint16_t& format) {
    InputFile file;
    TRELLIS_TRY(file.open(name));
    pixar_header header{};
    TRELLIS_TRY(read_pixar_header(file, header));
    format = header.format;
    TRELLIS_TRY(
        limits.check(header.width, header.height, colour.wanted_bytes() + matte.wanted_bytes()));

    TileGrid grid{};
    TRELLIS_TRY(tile_grid(header, grid));
    Block<tile_pointer> table;
    TRELLIS_TRY(read_tile_pointers(file, grid, table));

    RowDecoder decoder(file, header);
    const std::int64_t origin_x = rectangle.x0 - std::abs(std::int64_t{file_x});
    const std::int64_t origin_y = rectangle.y0 - std::abs(std::int64_t{file_y});
    for (std::int64_t row = 0; row < grid.down; ++row) {
        for (std::int64_t column = 0; column < grid.across; ++column) {
            const tile_pointer& pointer =
                table[static_cast<std::size_t>(row * grid.across + column)];
            if (pointer.is_absent()) {
                continue;
            }
            // Where tiles cannot be reached, the first one fails, needed or not.
            if (!file.can_seek()) {
                return Error::seek;
            }
            const Rectangle tile = place_tile(header, grid, row, column, origin_x, origin_y);
            if (!overlap(tile, rectangle)) {
                continue;
            }
            TRELLIS_TRY(file.seek(pointer.offset));
            TRELLIS_TRY(load_tile(decoder, tile, rectangle, colour, matte));
        }
    }
    return Error::none;
}

}  // namespace trellis::pixar
