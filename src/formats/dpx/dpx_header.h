#pragma once

// The DPX header: 2048 bytes, of which readers use the first 1664. docs/formats/dpx.md has the
// table. Files come in either byte order, so the records are templates over it: one list of fields,
// and no order in which one of them could be left unconverted.

#include <bit>
#include <cstddef>
#include <cstdint>

#include "formats/dpx/header_fields.h"
#include "formats/dpx/picture.h"
#include "frame/byte_order.h"
#include "frame/error.h"
#include "frame/file.h"
#include "frame/film_words.h"
#include "frame/raster.h"

namespace trellis::dpx {

template <std::endian order>
struct dpx_file_section {
    using u32 = Ordered<std::uint32_t, order>;

    char magic[4];
    u32 image_offset;
    char version[8];
    u32 file_size;
    u32 ditto_key;
    u32 generic_length;
    u32 industry_length;
    u32 user_length;
    char file_name[100];
    char creation_time[24];
    char creator[100];
    char project[200];
    char rights[200];
    u32 encryption_key;
    std::uint8_t reserved[104];
};

template <std::endian order>
struct dpx_image_element {
    using u16 = Ordered<std::uint16_t, order>;
    using u32 = Ordered<std::uint32_t, order>;

    u32 data_sign;
    u32 low_code;
    float_field low_quantity;
    u32 high_code;
    float_field high_quantity;
    std::uint8_t descriptor;
    std::uint8_t transfer;
    std::uint8_t colorimetric;
    std::uint8_t bit_size;
    u16 packing;
    u16 encoding;
    u32 data_offset;
    u32 line_padding;
    u32 image_padding;
    char description[32];
};

template <std::endian order>
struct dpx_image_section {
    Ordered<std::uint16_t, order> orientation;
    Ordered<std::int16_t, order> element_count;
    Ordered<std::uint32_t, order> pixels_per_line;
    Ordered<std::uint32_t, order> lines;
    dpx_image_element<order> elements[8];
    std::uint8_t reserved[52];
};

template <std::endian order>
struct dpx_orientation_section {
    using u16 = Ordered<std::uint16_t, order>;
    using u32 = Ordered<std::uint32_t, order>;

    u32 x_offset;
    u32 y_offset;
    float_field x_centre;
    float_field y_centre;
    u32 x_original_size;
    u32 y_original_size;
    char source_file_name[100];
    char source_time[24];
    char input_device[32];
    char input_serial[32];
    u16 border[4];
    u32 aspect_ratio[2];
    std::uint8_t reserved[28];
};

/// The part that loads and queries read.
template <std::endian order>
struct dpx_generic_header {
    dpx_file_section<order> file;
    dpx_image_section<order> image;
    dpx_orientation_section<order> orientation;
};

struct dpx_film_section {
    char manufacturer[2];
    char film_type[2];
    char perforations_offset[2];
    char prefix[6];
    char count[4];
    char format[32];
    be32 frame_position;
    be32 sequence_length;
    be32 held_count;
    float_field frame_rate;
    float_field shutter_angle;
    char frame_id[32];
    char slate[100];
    std::uint8_t reserved[56];
};

struct dpx_television_section {
    be32 time_code;
    be32 user_bits;
    std::uint8_t interlace;
    std::uint8_t field_number;
    std::uint8_t video_standard;
    std::uint8_t unused;
    float_field horizontal_rate;
    float_field vertical_rate;
    float_field frame_rate;
    float_field time_offset;
    float_field gamma;
    float_field black_level;
    float_field black_gain;
    float_field break_point;
    float_field white_level;
    float_field integration_time;
    std::uint8_t reserved[76];
};

/// The whole header, as files are written: always big-endian.
struct dpx_header {
    dpx_generic_header<std::endian::big> generic;
    dpx_film_section film;
    dpx_television_section television;
};

/// A generic header as it stands in a file, its byte order not yet known.
using raw_dpx_header = dpx_generic_header<std::endian::big>;

static_assert(sizeof(dpx_file_section<std::endian::big>) == 768);
static_assert(sizeof(dpx_image_element<std::endian::big>) == 72);
static_assert(sizeof(dpx_image_section<std::endian::big>) == 640);
static_assert(sizeof(dpx_orientation_section<std::endian::big>) == 256);
static_assert(sizeof(dpx_film_section) == 256);
static_assert(sizeof(dpx_television_section) == 128);
static_assert(sizeof(raw_dpx_header) == 1664 && alignof(raw_dpx_header) == 1);
static_assert(sizeof(dpx_generic_header<std::endian::little>) == sizeof(raw_dpx_header));
static_assert(sizeof(dpx_header) == 2048);
static_assert(offsetof(dpx_file_section<std::endian::big>, file_name) == 36);
static_assert(offsetof(dpx_file_section<std::endian::big>, encryption_key) == 660);
static_assert(offsetof(dpx_image_element<std::endian::big>, descriptor) == 20);
static_assert(offsetof(dpx_image_element<std::endian::big>, data_offset) == 28);
static_assert(offsetof(dpx_orientation_section<std::endian::big>, source_time) == 124);
static_assert(offsetof(dpx_orientation_section<std::endian::big>, border) == 212);
static_assert(offsetof(dpx_film_section, frame_position) == 48);
static_assert(offsetof(dpx_television_section, horizontal_rate) == 12);

/// The descriptors that stand for a kind of picture.
enum Descriptor : std::uint8_t {
    alpha_descriptor = 4,
    luminance_descriptor = 6,
    rgb_descriptor = 50,
    rgba_descriptor = 51,
    abgr_descriptor = 52,
};

/// The fields of a file's header that decide how it is read, in the host's byte order.
struct DpxFields {
    std::uint32_t image_offset;
    std::uint16_t orientation;
    std::int16_t element_count;
    std::uint32_t pixels_per_line;
    std::uint32_t lines;
    std::uint8_t descriptor;
    std::uint8_t transfer;
    std::uint8_t bit_size;
    bool little_endian;

    Error picture(Picture& picture) const {
        picture.pixels_per_line = pixels_per_line;
        picture.lines = lines;
        return parse_orientation(orientation, picture.orientation);
    }
};

bool is_dpx_magic(const void* bytes);

/// Reads the generic header: Error::read when the file is shorter, Error::magic when it is another
/// format's. `header` keeps the bytes that the file does not have. `fields` is set in any case, and
/// so is the byte order among the words.
Error read_dpx_fields(InputFile& file, raw_dpx_header& header, DpxFields& fields, FilmWords& words);

/// The same for loads and size queries, which also refuse more than one image element
/// (Error::element_count) and set the other two words.
Error read_dpx_header(InputFile& file, raw_dpx_header& header, DpxFields& fields, FilmWords& words);

/// A header with no picture in it yet: every field that saves leave alone has its default.
dpx_header default_dpx_header(const char* path, const TimeText& time);

/// Sets the fields that every save writes. The rest of the header keeps what it holds, but for an
/// orientation that was left in the host's order.
void set_dpx_save_fields(dpx_header& header, const char* path, const TimeText& time,
                         const Source& source);

/// Stores the orientation in the host's byte order, in which hosts find that one field of the
/// last-header buffer.
void leave_in_host_order(be16& orientation, std::uint16_t value);

/// The creator that every save names.
inline constexpr char dpx_creator[] = "Orrery Imaging";

inline constexpr char dpx_time_pattern[] = "%Y:%m:%d %H:%M:%SZ";

}  // namespace trellis::dpx
