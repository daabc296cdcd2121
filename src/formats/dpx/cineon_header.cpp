#include "formats/dpx/cineon_header.h"

#include <algorithm>
#include <cstring>

#include "formats/dpx/catalogue.h"
#include "formats/dpx/pixels.h"

namespace trellis::dpx {

namespace {

constexpr std::uint8_t ten_bits = 10;
constexpr std::uint8_t packed_in_words = 5;  // three codes in 32 bits, from the top

constexpr std::uint32_t image_offset = sizeof(cineon_header) + catalogue_size;

Error check(const cineon_header& header) {
    if (header.image.channels[0].bits_per_pixel != ten_bits) {
        return Error::smpte_depth;
    }
    const cineon_format_section& format = header.format;
    if (format.interleave != 0) {
        return Error::smpte_interleave;
    }
    if (format.packing != packed_in_words || format.data_signed != 0 || format.image_sense != 0) {
        return Error::smpte_packing;
    }
    Orientation orientation{};
    return parse_orientation(header.image.orientation, orientation);
}

std::uint8_t channels_of(Mode mode) {
    switch (mode) {
        case Mode::mask:
            return mask_channels;
        case Mode::cutout:
            return cutout_channels;
        default:
            return picture_channels;
    }
}

// The second designator byte of a channel: red 1, green 2, blue 3, anything else 0.
std::uint8_t designator(int channel, int channel_count) {
    return static_cast<std::uint8_t>(channel_count >= 3 && channel < 3 ? channel + 1 : 0);
}

// What the file has no bytes for is empty.
void clear_between(std::uint8_t* bytes, std::size_t begin, std::size_t end) {
    if (begin < end) {
        std::memset(bytes + begin, 0, end - begin);
    }
}

template <std::size_t count>
void set_undefined(float_field (&fields)[count]) {
    std::fill(fields, fields + count, undefined_float);
}

}  // namespace

Error read_smpte_header(InputFile& file, cineon_buffer& buffer) {
    cineon_header& header = buffer.header;
    TRELLIS_TRY(file.read_record(header.file));
    if (header.file.magic != cineon_magic) {
        return Error::magic;
    }
    // The rest of the generic section is as long as the file says. A length that cannot be one
    // stands for the usual 1024 bytes, a shorter one leaves fields empty, and what a longer one
    // holds beyond 1024 bytes gives way to the industry section.
    constexpr std::int64_t usual_rest = offsetof(cineon_header, industry) - sizeof header.file;
    constexpr std::int64_t most = sizeof buffer - sizeof header.file;
    std::int64_t rest =
        std::int64_t{header.file.generic_length} - static_cast<std::int64_t>(sizeof header.file);
    if (rest < 0) {
        rest = usual_rest;
    }
    if (rest > most) {
        return Error::unsupported;
    }
    auto* bytes = reinterpret_cast<std::uint8_t*>(&buffer);
    TRELLIS_TRY(file.read(bytes + sizeof header.file, static_cast<std::size_t>(rest)));
    TRELLIS_TRY(file.read_record(header.industry));
    clear_between(bytes, sizeof header.file + static_cast<std::size_t>(rest),
                  offsetof(cineon_header, industry));
    clear_between(bytes,
                  std::max(sizeof header, sizeof header.file + static_cast<std::size_t>(rest)),
                  sizeof buffer);
    return check(header);
}

void mend_cineon_header(cineon_header& header) {
    if (header.image.channels[0].bits_per_pixel != ten_bits) {
        for (cineon_channel& channel : header.image.channels) {
            channel.bits_per_pixel = ten_bits;
        }
    }
    header.format.interleave = header.format.data_signed = header.format.image_sense = 0;
    header.format.packing = packed_in_words;
    Orientation orientation{};
    if (failed(parse_orientation(header.image.orientation, orientation))) {
        header.image.orientation = 0;
    }
}

Picture picture_of(const cineon_header& header) {
    const cineon_channel& channel = header.image.channels[0];
    return {static_cast<Orientation>(header.image.orientation), channel.pixels_per_line,
            channel.lines};
}

cineon_header default_cineon_header(const char* path, const TimeText& date) {
    cineon_header header{};
    cineon_image_section& image = header.image;
    for (cineon_channel& channel : image.channels) {
        channel.bits_per_pixel = ten_bits;
        channel.high_value = little_endian_float(1023.0F);
    }
    set_undefined(image.white_point);
    set_undefined(image.red_primary);
    set_undefined(image.green_primary);
    set_undefined(image.blue_primary);

    header.format.packing = packed_in_words;

    cineon_origin_section& origin = header.origin;
    set_text(origin.file_name, path);
    set_text(origin.creation_date, date.text);
    set_text(origin.creation_time, cineon_creation_time);
    origin.x_pitch = origin.y_pitch = origin.gamma = undefined_float;

    cineon_industry_section& industry = header.industry;
    industry.manufacturer = industry.film_type = industry.perforations_offset = undefined_8;
    industry.prefix = industry.count = industry.frame_position = undefined_32;
    industry.frame_rate = undefined_float;
    return header;
}

void set_cineon_save_fields(cineon_header& header, const char* path, const TimeText& date,
                            const Source& source) {
    cineon_file_section& file = header.file;
    file.magic = cineon_magic;
    file.image_offset = image_offset;
    file.generic_length = offsetof(cineon_header, industry);
    file.industry_length = sizeof header.industry;
    file.user_length = catalogue_size;
    file.file_size = image_offset + image_size(source);
    set_text(file.version, "V4.5");
    set_text(file.file_name, path);
    set_text(file.creation_date, date.text);
    set_text(file.creation_time, cineon_creation_time);

    cineon_image_section& image = header.image;
    const bool upright = image.orientation == 0;
    image.channel_count = channels_of(source.mode);
    for (int i = 0; i < image.channel_count; ++i) {
        cineon_channel& channel = image.channels[i];
        channel.designator_2 = designator(i, image.channel_count);
        channel.pixels_per_line = static_cast<std::uint32_t>(upright ? source.rectangle.width()
                                                                     : source.rectangle.height());
        channel.lines = static_cast<std::uint32_t>(upright ? source.rectangle.height()
                                                           : source.rectangle.width());
    }
}

}  // namespace trellis::dpx
