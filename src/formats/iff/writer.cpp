#include "formats/iff/writer.h"

#include <sys/utsname.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <span>

#include "trellis/settings.h"

#include "formats/iff/chunks.h"
#include "formats/iff/header.h"
#include "formats/iff/pixels.h"
#include "formats/iff/run_length.h"
#include "frame/file.h"
#include "frame/memory.h"

namespace trellis::iff {

namespace {

// Corners of a tile are 16-bit numbers.
constexpr std::int64_t largest_side = 65536;

// Form sizes are 32-bit numbers. Beside the pixels a file holds much less than this.
constexpr std::int64_t largest_raw_size = UINT32_MAX - 4096;

constexpr std::size_t piece_pixels = 1024;

struct form_header {
    iff_chunk_header chunk;
    be32 type;
};

// The start of the file, up to the text that names the author.
struct file_head {
    form_header picture = {{form_tag, 0}, picture_tag};
    iff_chunk_header version_chunk = {tag("FVER"), sizeof version};
    be16 version[2] = {1, 1};
    iff_chunk_header header_chunk = {header_tag, sizeof(maya_header)};
    maya_header header{};
    iff_chunk_header author_chunk = {tag("AUTH"), 0};
};

static_assert(sizeof(file_head) == 72);

// What follows it, up to the pixels of the only tile.
struct tile_head {
    iff_chunk_header date_chunk = {tag("DATE"), sizeof date};
    char date[24] = {};
    form_header bitmap = {{form_tag, 0}, bitmap_tag};
    iff_chunk_header tile_chunk = {tile_tag, 0};
    tile_header corners{};
};

static_assert(sizeof(tile_head) == 60);

// The picture to save, in the lower left of the host's buffers.
struct Picture {
    Colour8 colour;
    Matte8 matte;
    std::int64_t width;
    std::int64_t height;

    std::int64_t channels() const { return (colour ? 3 : 0) + (matte ? 1 : 0); }
    std::int64_t area() const { return width * height; }
    std::int64_t raw_size() const { return channels() * area(); }
};

void announce_row(const Picture& picture, std::int64_t y) {
    occaisional_update_progress_trellis_(static_cast<float>(y) /
                                         static_cast<float>(picture.height));
}

// Plane 0 is the alpha plane, planes 1 to 3 are blue, green and red: the bytes of a colour pixel.
void gather_plane(const Picture& picture, std::size_t plane, std::int64_t y, std::uint8_t* row) {
    const auto width = static_cast<std::size_t>(picture.width);
    if (plane == 0) {
        std::memcpy(row, picture.matte.pixel(0, y), width);
    } else {
        extract_plane(picture.colour.pixel(0, y), plane, width, row);
    }
}

// Codes plane after plane. Code is kept only if every plane becomes smaller by it; else `size`
// is 0.
Error code_planes(const Picture& picture, Block<std::uint8_t>& code, std::size_t& size) {
    const auto area = static_cast<std::size_t>(picture.area());
    Block<std::uint8_t> bytes;
    if (Error error = bytes.allocate(area); failed(error)) {
        return error;
    }
    if (Error error = code.allocate(static_cast<std::uint64_t>(picture.raw_size()));
        failed(error)) {
        return error;
    }
    size = 0;
    const std::size_t first = picture.matte ? 0 : 1;
    const std::size_t last = picture.colour ? 3 : 0;
    for (std::size_t plane = first; plane <= last; ++plane) {
        for (std::int64_t y = 0; y < picture.height; ++y) {
            if (plane == first) {
                announce_row(picture, y);
            }
            gather_plane(picture, plane, y, &bytes[static_cast<std::size_t>(y * picture.width)]);
        }
        const std::size_t coded = encode_runs(bytes.span(), code.span().subspan(size, area - 1));
        if (coded == 0) {
            size = 0;
            break;
        }
        size += coded;
    }
    return Error::none;
}

Error write_raw_row(OutputFile& file, const Picture& picture, std::int64_t y) {
    if (!picture.colour) {
        return picture.matte
                   ? file.write(picture.matte.pixel(0, y), static_cast<std::size_t>(picture.width))
                   : Error::none;
    }
    std::array<Pixel, piece_pixels> piece;
    for (std::int64_t x = 0; x < picture.width; x += piece_pixels) {
        const auto count =
            static_cast<std::size_t>(std::min<std::int64_t>(picture.width - x, piece_pixels));
        const auto size = count * static_cast<std::size_t>(picture.channels());
        std::uint8_t* samples = file.room(size);
        if (samples == nullptr) {
            return Error::write;
        }
        gather_row(picture.colour.pixel(x, y), picture.matte.pixel(x, y), count, piece.data());
        if (picture.matte) {
            std::memcpy(samples, piece.data(), size);
        } else {
            pack_colour(piece.data(), count, samples);
        }
        file.append(size);
    }
    return Error::none;
}

// Hosts may ask for a row's progress once only: rows that have been coded in vain were announced.
Error write_raw(OutputFile& file, const Picture& picture, bool announce) {
    for (std::int64_t y = 0; y < picture.height; ++y) {
        if (announce) {
            announce_row(picture, y);
        }
        if (Error error = write_raw_row(file, picture, y); failed(error)) {
            return error;
        }
    }
    return Error::none;
}

Error write_heads(OutputFile& file, const Picture& picture, int compress, std::time_t now,
                  std::uint64_t pixels_size) {
    utsname system{};
    uname(&system);
    char banner[sizeof system + 32];
    std::snprintf(banner, sizeof banner, "Trellis version %s.%sR, %s %s %s", "8", "03",
                  system.sysname, system.release, system.machine);
    const std::size_t banner_size = std::strlen(banner);

    tile_head tile;
    char date[64] = {};
    ctime_r(&now, date);
    std::memcpy(tile.date, date, sizeof tile.date);
    tile.corners.x1 = static_cast<std::uint16_t>(picture.width - 1);
    tile.corners.y1 = static_cast<std::uint16_t>(picture.height - 1);
    // Sizes from the inside out; each form counts its type and the chunks with their padding.
    const std::uint64_t tile_size = sizeof tile.corners + pixels_size;
    const std::uint64_t bitmap_size =
        sizeof tile.bitmap.type + sizeof tile.tile_chunk + padded(tile_size);
    tile.tile_chunk.size = static_cast<std::uint32_t>(tile_size);
    tile.bitmap.chunk.size = static_cast<std::uint32_t>(bitmap_size);

    file_head head;
    head.header.width = static_cast<std::int32_t>(picture.width);
    head.header.height = static_cast<std::int32_t>(picture.height);
    head.header.flags = (picture.colour ? maya_header::colour_flag : 0) |
                        (picture.matte ? maya_header::alpha_flag : 0);
    head.header.tiles = 1;
    head.header.compression = static_cast<std::uint32_t>(compress);
    head.author_chunk.size = static_cast<std::uint32_t>(banner_size);
    head.picture.chunk.size = static_cast<std::uint32_t>(
        sizeof head - sizeof head.picture.chunk + padded(banner_size) +
        offsetof(tile_head, bitmap) + sizeof tile.bitmap.chunk + bitmap_size);

    if (Error error = file.write_record(head); failed(error)) {
        return error;
    }
    if (Error error = file.write(banner, banner_size); failed(error)) {
        return error;
    }
    if (Error error = file.write_zeros(padded(banner_size) - banner_size); failed(error)) {
        return error;
    }
    return file.write_record(tile);
}

Error write_picture(OutputFile& file, const Picture& picture, int compress) {
    const std::time_t now = std::time(nullptr);
    Block<std::uint8_t> code;
    std::size_t code_size = 0;
    const bool try_code = compress != 0 && picture.channels() > 0;
    if (try_code) {
        if (Error error = code_planes(picture, code, code_size); failed(error)) {
            return error;
        }
    }
    const std::uint64_t pixels_size =
        code_size > 0 ? code_size : static_cast<std::uint64_t>(picture.raw_size());
    if (Error error = write_heads(file, picture, compress, now, pixels_size); failed(error)) {
        return error;
    }
    Error result =
        code_size > 0 ? file.write(code.data(), code_size) : write_raw(file, picture, !try_code);
    if (failed(result)) {
        return result;
    }
    if (Error error = file.write_zeros(padded(pixels_size) - pixels_size); failed(error)) {
        return error;
    }
    return file.flush();
}

}  // namespace

Error write_maya_pic(const char* name, Colour8 colour, Matte8 matte, const Rectangle& rectangle,
                     int compress) {
    const Picture picture{colour, matte, rectangle.width(), rectangle.height()};
    if (rectangle.empty() || picture.width > largest_side || picture.height > largest_side ||
        picture.raw_size() > largest_raw_size) {
        return Error::window;
    }
    OutputFile file;
    if (Error error = file.create(name); failed(error)) {
        return error;
    }
    if (Error error = write_picture(file, picture, compress); failed(error)) {
        return error;
    }
    return file.close();
}

}  // namespace trellis::iff
