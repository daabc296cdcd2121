#include "formats/dpx/reader.h"

#include <cstdlib>

#include "formats/dpx/lines.h"

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

// The part of the file's picture that a rectangle covers. Error::window when that lies outside.
Error find_region(const FilmFile& film, const Target& target, LineRegion& region) {
    // The first column and the row above the last one, counted from the lower left of the picture.
    const Picture& picture = film.picture;
    const std::int64_t left = std::abs(std::int64_t{target.file_x});
    const std::int64_t right = left + target.rectangle.width();
    const std::int64_t top = std::abs(std::int64_t{target.file_y}) + target.rectangle.height();
    if (right > picture.width() || top > picture.height()) {
        return Error::window;
    }
    const bool upright = picture.orientation == Orientation::upright;
    region = {
        .layout = film.layout,
        .pixels_per_line = picture.pixels_per_line,
        .skip_lines = static_cast<std::uint64_t>(picture.lines - (upright ? top : right)),
        .skip_pixels = static_cast<std::uint64_t>(upright ? left : picture.pixels_per_line - top),
    };
    return Error::none;
}

}  // namespace

Error read_dpx(FilmFile& film, raw_dpx_header& header) {
    DpxFields fields{};
    TRELLIS_TRY(read_dpx_header(film.file, header, fields, film.words));
    TRELLIS_TRY(seek_image(film.file, fields.image_offset));
    leave_in_host_order(header.image.orientation, fields.orientation);
    film.layout = layout_of(fields);
    return fields.picture(film.picture);
}

Error read_smpte(FilmFile& film, cineon_buffer& buffer) {
    film.words = cineon_words;
    const cineon_header& header = buffer.header;
    if (const Error error = read_smpte_header(film.file, buffer); failed(error)) {
        mend_cineon_header(buffer.header);
        return error;
    }
    film.layout = layout_of(header);
    film.picture = picture_of(header);
    // The image follows the user data, wherever the header says that it starts.
    return seek_image(film.file, film.file.position() + header.file.user_length);
}

Error load_lines(FilmFile& film, const Target& target, const Limits& limits) {
    TRELLIS_TRY(limits.check(film.picture.width(), film.picture.height(), target.pixel_bytes()));
    if (!target.rectangle.empty()) {
        LineRegion region{};
        TRELLIS_TRY(find_region(film, target, region));
        TRELLIS_TRY(unpack_lines(film.file, region, target, film.picture.orientation));
    }
    return film.file.close();
}

}  // namespace trellis::dpx
