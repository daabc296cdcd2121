#include "formats/dpx/reader.h"

#include <cstdlib>

#include "formats/dpx/cineon_header.h"
#include "formats/dpx/dpx_header.h"
#include "formats/dpx/last_header.h"
#include "formats/dpx/lines.h"
#include "frame/file.h"

namespace trellis::dpx {

namespace {

// A DPX file with any descriptor but those of masks and cutouts is taken as a picture.
Layout layout_of(const DpxFields& fields) {
    const bool deep = fields.bit_size == 10;
    if (!deep && fields.bit_size != 8) {
        return Layout::none;
    }
    switch (fields.descriptor) {
        case alpha_descriptor:
            return deep ? Layout::mask10 : Layout::mask8;
        case rgba_descriptor:
        case abgr_descriptor:
            return deep ? Layout::cutout10 : Layout::cutout8;
        default:
            if (!deep) {
                return Layout::colour8;
            }
            // Only whole words follow the byte order of the file.
            return fields.little_endian ? Layout::colour10_little : Layout::colour10;
    }
}

Layout layout_of(const cineon_header& header) {
    switch (header.image.channel_count) {
        case mask_channels:
            return Layout::mask10;
        case cutout_channels:
            return Layout::cutout10;
        default:
            return Layout::colour10;
    }
}

Error seek_image(InputFile& file, std::uint64_t position) {
    return file.can_seek() ? file.seek(position) : Error::seek;
}

// Loads from a file that stands at its image data, and closes it.
Error load_lines(InputFile& file, const Picture& picture, Layout layout, Colour16 colour,
                 Matte16 matte, const Rectangle& rectangle, int file_x, int file_y) {
    if (!rectangle.empty()) {
        // The first column and the row above the last one of the region, counted from the lower
        // left of the file's picture.
        const std::int64_t left = std::abs(std::int64_t{file_x});
        const std::int64_t right = left + rectangle.width();
        const std::int64_t top = std::abs(std::int64_t{file_y}) + rectangle.height();
        if (right > picture.width() || top > picture.height()) {
            return Error::window;
        }
        LineRegion region{layout, picture.pixels_per_line, 0, 0};
        if (picture.orientation == Orientation::upright) {
            region.skip_lines = static_cast<std::uint64_t>(picture.lines - top);
            region.skip_pixels = static_cast<std::uint64_t>(left);
        } else {
            region.skip_lines = static_cast<std::uint64_t>(picture.lines - right);
            region.skip_pixels = static_cast<std::uint64_t>(picture.pixels_per_line - top);
        }
        TRELLIS_TRY(
            unpack_ten_bit_lines(file, region, colour, matte, rectangle, picture.orientation));
    }
    return file.close();
}

}  // namespace

Error load_dpx(const char* name, Colour16 colour, Matte16 matte, const Rectangle& rectangle,
               int file_x, int file_y) {
    InputFile file;
    TRELLIS_TRY(file.open(name));
    auto* header = new_last_header<raw_dpx_header>(TRELLIS_TYPE_DPX);
    if (header == nullptr) {
        return Error::allocation;
    }
    DpxFields fields{};
    TRELLIS_TRY(read_dpx_header(file, *header, fields));
    TRELLIS_TRY(seek_image(file, fields.image_offset));
    leave_in_host_order(header->image.orientation, fields.orientation);
    Picture picture{};
    TRELLIS_TRY(fields.picture(picture));
    return load_lines(file, picture, layout_of(fields), colour, matte, rectangle, file_x, file_y);
}

Error load_smpte(const char* name, Colour16 colour, Matte16 matte, const Rectangle& rectangle,
                 int file_x, int file_y) {
    InputFile file;
    TRELLIS_TRY(file.open(name));
    auto* buffer = new_last_header<cineon_buffer>(TRELLIS_TYPE_CINEON);
    if (buffer == nullptr) {
        return Error::allocation;
    }
    TRELLIS_TRY(read_smpte_header(file, *buffer));
    // The image follows the user data, wherever the header says that it starts.
    const cineon_header& header = buffer->header;
    TRELLIS_TRY(seek_image(file, file.position() + header.file.user_length));
    return load_lines(file, picture_of(header), layout_of(header), colour, matte, rectangle, file_x,
                      file_y);
}

}  // namespace trellis::dpx
