#include "formats/iff/writer.h"

#include <sys/utsname.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iterator>
#include <span>

#include "trellis/settings.h"

#include "formats/iff/chunks.h"
#include "formats/iff/destination.h"
#include "formats/iff/header.h"
#include "formats/iff/run_length.h"
#include "frame/file.h"
#include "frame/memory.h"
#include "pixels/kernels.h"

namespace trellis::iff {

namespace {

// Corners of a tile are 16-bit numbers.
constexpr std::int64_t largest_side = 65536;

// Form sizes are 32-bit numbers. Beside the pixels a file holds much less than this.
constexpr std::uint64_t largest_pixels_size = UINT32_MAX - 4096;

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
    ColourSource8 colour;
    MatteSource8 matte;
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
        pixels::kernels().extract_plane(picture.colour.pixel(0, y), plane, row, width);
    }
}

// The packets of a picture, plane by plane.
struct EncodedPlanes {
    Block<std::uint8_t> room;
    std::span<const std::uint8_t> planes[4];

    std::uint64_t size() const {
        return std::uint64_t{planes[0].size()} + planes[1].size() + planes[2].size() +
               planes[3].size();
    }
};

// Packets are kept only if every plane becomes smaller by them; else all planes are left empty.
Error encode_planes(const Picture& picture, EncodedPlanes& encoded) {
    Block<std::uint8_t> plane;
    TRELLIS_TRY(plane.allocate(static_cast<std::uint64_t>(picture.area())));
    TRELLIS_TRY(encoded.room.allocate(static_cast<std::uint64_t>(picture.raw_size())));
    // The alpha plane comes last here, though first in the file: where the attempt fails, colours
    // are mostly the reason, and the rest need not be tried.
    const bool present[4] = {!!picture.matte, !!picture.colour, !!picture.colour, !!picture.colour};
    std::size_t tried = 0;
    for (const std::size_t channel : {1U, 2U, 3U, 0U}) {
        if (!present[channel]) {
            continue;
        }
        for (std::int64_t y = 0; y < picture.height; ++y) {
            if (tried == 0) {
                announce_row(picture, y);
            }
            gather_plane(picture, channel, y, &plane[static_cast<std::size_t>(y * picture.width)]);
        }
        const std::span<std::uint8_t> room =
            encoded.room.span().subspan(tried * plane.size(), plane.size() - 1);
        const std::size_t size = encode_runs(plane.span(), room);
        if (size == 0) {
            std::fill(std::begin(encoded.planes), std::end(encoded.planes),
                      std::span<std::uint8_t>());
            break;
        }
        encoded.planes[channel] = room.first(size);
        ++tried;
    }
    return Error::none;
}

Error write_encoded(OutputFile& file, const EncodedPlanes& encoded) {
    for (const std::span<const std::uint8_t> plane : encoded.planes) {
        TRELLIS_TRY(file.write(plane.data(), plane.size()));
    }
    return Error::none;
}

Error write_raw_row(OutputFile& file, const Picture& picture, std::int64_t y) {
    if (!picture.colour) {
        return picture.matte
                   ? file.write(picture.matte.pixel(0, y), static_cast<std::size_t>(picture.width))
                   : Error::none;
    }
    for (std::int64_t x = 0; x < picture.width; x += piece_pixels) {
        const auto count =
            static_cast<std::size_t>(std::min<std::int64_t>(picture.width - x, piece_pixels));
        const auto size = count * static_cast<std::size_t>(picture.channels());
        std::uint8_t* samples = file.room(size);
        if (samples == nullptr) {
            return Error::write;
        }
        const std::uint8_t* colour = picture.colour.pixel(x, y);
        if (picture.matte) {
            pixels::kernels().bytes.join(colour, picture.matte.pixel(x, y), samples, count);
        } else {
            pixels::kernels().pack(colour, 1, samples, count);
        }
        file.append(size);
    }
    return Error::none;
}

// Rows that have been encoded in vain were announced then.
Error write_raw(OutputFile& file, const Picture& picture, bool announce) {
    for (std::int64_t y = 0; y < picture.height; ++y) {
        if (announce) {
            announce_row(picture, y);
        }
        TRELLIS_TRY(write_raw_row(file, picture, y));
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

    TRELLIS_TRY(file.write_record(head));
    TRELLIS_TRY(file.write(banner, banner_size));
    TRELLIS_TRY(file.write_zeros(padded(banner_size) - banner_size));
    return file.write_record(tile);
}

// Whether the forms' sizes have room for so many bytes of pixels.
bool fits_forms(std::uint64_t pixels_size) {
    return pixels_size <= largest_pixels_size;
}

Error write_picture(OutputFile& file, const Picture& picture, int compress) {
    const std::time_t now = std::time(nullptr);
    EncodedPlanes encoded;
    const bool try_packets = compress != 0 && picture.channels() > 0;
    if (try_packets) {
        TRELLIS_TRY(encode_planes(picture, encoded));
    }
    const bool in_packets = encoded.size() > 0;
    const std::uint64_t size =
        in_packets ? encoded.size() : static_cast<std::uint64_t>(picture.raw_size());
    if (!fits_forms(size)) {
        return Error::window;
    }
    TRELLIS_TRY(write_heads(file, picture, compress, now, size));
    TRELLIS_TRY(in_packets ? write_encoded(file, encoded) : write_raw(file, picture, !try_packets));
    TRELLIS_TRY(file.write_zeros(padded(size) - size));
    return file.flush();
}

}  // namespace

Error write_maya_pic(const char* name, ColourSource8 colour, MatteSource8 matte,
                     const Rectangle& rectangle, int compress) {
    const Picture picture{colour, matte, rectangle.width(), rectangle.height()};
    if (rectangle.empty() || picture.width > largest_side || picture.height > largest_side) {
        return Error::window;
    }
    if (compress == 0 && !fits_forms(static_cast<std::uint64_t>(picture.raw_size()))) {
        return Error::window;
    }
    OutputFile file;
    TRELLIS_TRY(file.create(name));
    TRELLIS_TRY(write_picture(file, picture, compress));
    return file.close();
}

}  // namespace trellis::iff
