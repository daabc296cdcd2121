#include "formats/dpx/dpx_header.h"

#include <cstring>

#include "formats/dpx/pixels.h"

namespace trellis::dpx {

namespace {

constexpr char big_endian_magic[] = {'S', 'D', 'P', 'X'};
constexpr char little_endian_magic[] = {'X', 'P', 'D', 'S'};

bool has_magic(const void* bytes, const char (&magic)[4]) {
    return std::memcmp(bytes, magic, sizeof magic) == 0;
}

template <std::endian order>
DpxFields fields_of(const dpx_generic_header<order>& header) {
    const dpx_image_section<order>& image = header.image;
    return {
        .image_offset = header.file.image_offset,
        .orientation = image.orientation,
        .element_count = image.element_count,
        .pixels_per_line = image.pixels_per_line,
        .lines = image.lines,
        .descriptor = image.elements[0].descriptor,
        .transfer = image.elements[0].transfer,
        .bit_size = image.elements[0].bit_size,
        .little_endian = order == std::endian::little,
    };
}

using big_element = dpx_image_element<std::endian::big>;

big_element default_element() {
    big_element element{};
    element.high_code = 1023;
    element.high_quantity = big_endian_float(2.046F);
    element.transfer = 3;  // logarithmic
    element.bit_size = 10;
    element.packing = 1;  // words filled from the top
    element.data_offset = sizeof(dpx_header);
    set_text(element.description, "Image Description Data");
    return element;
}

big_element unused_element() {
    big_element element{};
    element.data_sign = element.low_code = element.high_code = undefined_32;
    element.low_quantity = element.high_quantity = undefined_float;
    element.descriptor = element.transfer = element.colorimetric = element.bit_size = undefined_8;
    element.packing = element.encoding = undefined_16;
    // Not the undefined mark: these fields of unused elements have always been written this way.
    element.data_offset = element.line_padding = element.image_padding = 0xFF000000;
    return element;
}

void set_default_orientation(dpx_orientation_section<std::endian::big>& section, const char* path,
                             const TimeText& time) {
    section.x_offset = section.y_offset = undefined_32;
    section.x_centre = section.y_centre = undefined_float;
    section.x_original_size = section.y_original_size = undefined_32;
    set_text(section.source_file_name, path);
    set_text(section.source_time, time.text);
    for (auto& border : section.border) {
        border = undefined_16;
    }
    section.aspect_ratio[0] = section.aspect_ratio[1] = 65536;
}

void set_default_film(dpx_film_section& section) {
    section.frame_position = section.sequence_length = section.held_count = undefined_32;
    section.frame_rate = section.shutter_angle = undefined_float;
}

void set_default_television(dpx_television_section& section) {
    section.horizontal_rate = section.vertical_rate = section.frame_rate = undefined_float;
    section.time_offset = section.gamma = undefined_float;
    section.black_level = section.black_gain = section.break_point = undefined_float;
    section.white_level = section.integration_time = undefined_float;
}

Descriptor descriptor_of(Mode mode) {
    switch (mode) {
        case Mode::mask:
            return alpha_descriptor;
        case Mode::cutout:
            return rgba_descriptor;
        default:
            return rgb_descriptor;
    }
}

}  // namespace

bool is_dpx_magic(const void* bytes) {
    return has_magic(bytes, big_endian_magic) || has_magic(bytes, little_endian_magic);
}

Error read_dpx_fields(InputFile& file, raw_dpx_header& header, DpxFields& fields,
                      FilmWords& words) {
    const Error error = file.read_record(header);
    const bool little_endian = has_magic(header.file.magic, little_endian_magic);
    words.swap = little_endian ? 0 : 1;
    fields = little_endian
                 ? fields_of(std::bit_cast<dpx_generic_header<std::endian::little>>(header))
                 : fields_of(header);
    TRELLIS_TRY(error);
    return is_dpx_magic(header.file.magic) ? Error::none : Error::magic;
}

Error read_dpx_header(InputFile& file, raw_dpx_header& header, DpxFields& fields,
                      FilmWords& words) {
    const Error error = read_dpx_fields(file, header, fields, words);
    words.transfer = fields.transfer;
    TRELLIS_TRY(error);
    words.bit_depth = fields.bit_size;
    return fields.element_count > 1 ? Error::element_count : Error::none;
}

dpx_header default_dpx_header(const char* path, const TimeText& time) {
    dpx_header header{};
    header.generic.file.encryption_key = undefined_32;

    auto& image = header.generic.image;
    image.element_count = 1;
    image.elements[0] = default_element();
    for (int i = 1; i < 8; ++i) {
        image.elements[i] = unused_element();
    }
    set_default_orientation(header.generic.orientation, path, time);
    set_default_film(header.film);
    set_default_television(header.television);
    return header;
}

void set_dpx_save_fields(dpx_header& header, const char* path, const TimeText& time,
                         const Source& source) {
    auto& file = header.generic.file;
    std::memcpy(file.magic, big_endian_magic, sizeof file.magic);
    file.image_offset = sizeof(dpx_header);
    set_text(file.version, "V1.0");
    file.file_size = sizeof(dpx_header) + image_size(source);
    file.ditto_key = 0;
    file.generic_length = sizeof header.generic;
    file.industry_length = sizeof header.film + sizeof header.television;
    file.user_length = 0;
    set_text(file.file_name, path);
    set_text(file.creation_time, time.text);
    set_text(file.creator, dpx_creator);

    auto& image = header.generic.image;
    // Whatever the host's order makes of 5: the file gets it most significant byte first.
    constexpr auto transposed = static_cast<std::uint16_t>(Orientation::transposed);
    if (image.orientation == reverse_bytes(transposed)) {
        image.orientation = transposed;
    }
    const bool upright = image.orientation == 0;
    image.pixels_per_line =
        static_cast<std::uint32_t>(upright ? source.rectangle.width() : source.rectangle.height());
    image.lines =
        static_cast<std::uint32_t>(upright ? source.rectangle.height() : source.rectangle.width());
    image.elements[0].descriptor = descriptor_of(source.mode);
}

void leave_in_host_order(be16& orientation, std::uint16_t value) {
    orientation = std::bit_cast<be16>(value);
}

}  // namespace trellis::dpx
