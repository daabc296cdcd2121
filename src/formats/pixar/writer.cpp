#include "formats/pixar/writer.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "trellis/settings.h"

#include "formats/pixar/header.h"
#include "formats/pixar/packets.h"
#include "frame/file.h"
#include "frame/memory.h"

namespace trellis::pixar {

namespace {

constexpr std::int64_t largest_side = INT16_MAX;
constexpr char creator_label[] = "Picture file written by the raster I/O library";

pixar_header make_header(const Rectangle& rectangle, bool compress, std::uint16_t format) {
    pixar_header header{};
    std::memcpy(header.magic, magic, sizeof magic);
    std::memcpy(header.label, creator_label, sizeof creator_label);
    header.height = header.tile_height = static_cast<std::int16_t>(rectangle.height());
    header.width = header.tile_width = static_cast<std::int16_t>(rectangle.width());
    header.format = format;
    header.storage = compress ? packets : dumped;
    header.block_size = static_cast<std::int16_t>(RowEncoder::block_size);
    return header;
}

Error write_tile_pointers(OutputFile& file, std::span<const tile_pointer> table) {
    return file.write(table.data(), table.size_bytes());
}

// Zero bytes up to the next multiple of the block size.
Error pad_to_block(OutputFile& file, const pixar_header& header) {
    const auto block = static_cast<std::uint64_t>(header.block_size);
    return file.write_zeros((block - file.position() % block) % block);
}

// One byte a sample, in channel order, as much of the row at a time as the file's buffer takes.
Error write_rgb(OutputFile& file, std::span<const Pixel> row) {
    constexpr std::size_t most_pixels = output_room / 3;
    while (!row.empty()) {
        const std::size_t count = row.size() < most_pixels ? row.size() : most_pixels;
        std::uint8_t* samples = file.room(3 * count);
        if (samples == nullptr) {
            return Error::write;
        }
        pack_rgb(row.data(), count, samples);
        file.append(3 * count);
        row = row.subspan(count);
    }
    return Error::none;
}

// Gathers a row and writes it. Dumped cutouts have all four channels: their rows are made in the
// file's buffer, if it takes a whole one.
Error write_row(OutputFile& file, RowEncoder& encoder, const pixar_header& header,
                const RowSource& from, std::span<Pixel> space) {
    const bool plain = is_dumped(header.storage) && header.format == cutout_format;
    if (plain && space.size_bytes() <= output_room) {
        std::uint8_t* samples = file.room(space.size_bytes());
        if (samples == nullptr) {
            return Error::write;
        }
        gather_row(from, space.size(), reinterpret_cast<Pixel*>(samples));
        file.append(space.size_bytes());
        return Error::none;
    }
    gather_row(from, space.size(), space.data());
    if (is_packed(header.storage)) {
        return encoder.encode(space);
    }
    return plain ? file.write(space.data(), space.size_bytes()) : write_rgb(file, space);
}

// The picture's only tile, from its top row, which is the rectangle's highest buffer row.
Error write_rows(OutputFile& file, const pixar_header& header, const Rectangle& rectangle,
                 const ColourSource8& colour, const MatteSource8& matte) {
    Block<Pixel> space;
    TRELLIS_TRY(space.allocate(static_cast<std::uint64_t>(rectangle.width())));
    RowEncoder encoder(file, channel_count(header.format));
    for (std::int64_t k = rectangle.height() - 1; k >= 0; --k) {
        occaisional_update_progress_trellis_(static_cast<float>(rectangle.height() - k) /
                                             static_cast<float>(rectangle.height()));
        const std::int64_t y = rectangle.y0 + k;
        const RowSource from = {
            .colour = colour.pixel(rectangle.x0, y),
            .matte = matte.pixel(rectangle.x0, y),
            .next_colour = colour.pixel(rectangle.x0, std::max(y - 1, rectangle.y0)),
        };
        TRELLIS_TRY(write_row(file, encoder, header, from, space.span()));
    }
    return Error::none;
}

Error write_picture(OutputFile& file, const pixar_header& header, const Rectangle& rectangle,
                    const ColourSource8& colour, const MatteSource8& matte) {
    TRELLIS_TRY(file.write_record(header));
    // The table goes out empty first, so that a save which fails half-way leaves an absent tile.
    const std::uint64_t table_position = file.position();
    tile_pointer tile{};
    TRELLIS_TRY(write_tile_pointers(file, {&tile, 1}));
    TRELLIS_TRY(pad_to_block(file, header));
    const std::uint64_t offset = file.position();
    TRELLIS_TRY(write_rows(file, header, rectangle, colour, matte));
    const std::uint64_t length = file.position() - offset;
    if (length >= UINT32_MAX) {
        return Error::write;  // more than the table can store
    }
    tile.offset = static_cast<std::uint32_t>(offset);
    tile.length = static_cast<std::uint32_t>(length);
    TRELLIS_TRY(pad_to_block(file, header));
    TRELLIS_TRY(file.seek(table_position));
    TRELLIS_TRY(write_tile_pointers(file, {&tile, 1}));
    return file.flush();
}

}  // namespace

Error save_pixar(const char* name, ColourSource8 colour, MatteSource8 matte,
                 const Rectangle& rectangle, bool compress, std::uint16_t format) {
    if (rectangle.empty() || rectangle.width() > largest_side ||
        rectangle.height() > largest_side) {
        return Error::window;
    }
    OutputFile file;
    TRELLIS_TRY(file.create(name));
    const pixar_header header = make_header(rectangle, compress, format);
    return write_picture(file, header, rectangle, colour, matte);
}

}  // namespace trellis::pixar
