#pragma once

// The Cineon header: 2048 bytes in four sections. docs/formats/cineon.md has the table. Integers
// are big-endian; floats stand in the file least significant byte first.

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

struct cineon_file_section {
    be32 magic;
    be32 image_offset;
    be32s generic_length;
    be32 industry_length;
    be32 user_length;
    be32 file_size;
    char version[8];
    char file_name[100];
    char creation_date[12];
    char creation_time[12];
    std::uint8_t reserved[36];
};

struct cineon_channel {
    std::uint8_t designator_1;
    std::uint8_t designator_2;
    std::uint8_t bits_per_pixel;
    std::uint8_t unused;
    be32 pixels_per_line;
    be32 lines;
    float_field low_value;
    float_field low_quantity;
    float_field high_value;
    float_field high_quantity;
};

struct cineon_image_section {
    std::uint8_t orientation;
    std::uint8_t channel_count;
    std::uint8_t unused[2];
    cineon_channel channels[8];
    float_field white_point[2];
    float_field red_primary[2];
    float_field green_primary[2];
    float_field blue_primary[2];
    char label[200];
    std::uint8_t reserved[28];
};

struct cineon_format_section {
    std::uint8_t interleave;
    std::uint8_t packing;
    std::uint8_t data_signed;
    std::uint8_t image_sense;
    be32 line_padding;
    be32 channel_padding;
    std::uint8_t reserved[20];
};

struct cineon_origin_section {
    be32 x_offset;
    be32 y_offset;
    char file_name[100];
    char creation_date[12];
    char creation_time[12];
    char input_device[64];
    char model_number[32];
    char serial_number[32];
    float_field x_pitch;
    float_field y_pitch;
    float_field gamma;
    std::uint8_t reserved[40];
};

struct cineon_industry_section {
    std::uint8_t manufacturer;
    std::uint8_t film_type;
    std::uint8_t perforations_offset;
    std::uint8_t unused;
    be32 prefix;
    be32 count;
    char format[32];
    be32 frame_position;
    float_field frame_rate;
    char frame_attribute[32];
    char slate[200];
    std::uint8_t reserved[740];
};

struct cineon_header {
    cineon_file_section file;
    cineon_image_section image;
    cineon_format_section format;
    cineon_origin_section origin;
    cineon_industry_section industry;
};

/// The header as it is kept in memory. A generic section may be declared up to 2056 bytes long; the
/// last eight are where its end would be.
struct cineon_buffer {
    cineon_header header;
    std::uint8_t rest[8];
};

static_assert(sizeof(cineon_file_section) == 192);
static_assert(sizeof(cineon_channel) == 28);
static_assert(sizeof(cineon_image_section) == 488);
static_assert(sizeof(cineon_format_section) == 32);
static_assert(sizeof(cineon_origin_section) == 312);
static_assert(sizeof(cineon_industry_section) == 1024);
static_assert(sizeof(cineon_header) == 2048 && alignof(cineon_header) == 1);
static_assert(sizeof(cineon_buffer) == 2056);
static_assert(offsetof(cineon_file_section, file_name) == 32);
static_assert(offsetof(cineon_image_section, white_point) == 228);
static_assert(offsetof(cineon_origin_section, x_pitch) == 260);
static_assert(offsetof(cineon_header, format) == 680);
static_assert(offsetof(cineon_header, origin) == 712);
static_assert(offsetof(cineon_header, industry) == 1024);
static_assert(offsetof(cineon_industry_section, slate) == 84);

inline constexpr std::uint32_t cineon_magic = 0x802A5FD7;

/// Channel counts that stand for a kind of picture.
enum ChannelCount : std::uint8_t { mask_channels = 1, picture_channels = 3, cutout_channels = 4 };

/// Reads the header and checks what loads rely on; the file is then at its user data. Errors:
/// read, magic, smpte_depth, smpte_interleave, smpte_packing, unsupported (orientation, or a
/// generic section that does not fit the buffer). After one, `buffer` keeps the bytes that were not
/// read.
Error read_smpte_header(InputFile& file, cineon_buffer& buffer);

/// What reading any Cineon header says to the process-wide words.
inline constexpr FilmWords cineon_words = {.swap = 1, .transfer = cineon_transfer};

/// Gives the fields that read_smpte_header refuses the only value that it takes, so that a save
/// which starts from this header makes a file that loads.
void mend_cineon_header(cineon_header& header);

/// The picture of a header that has been checked.
Picture picture_of(const cineon_header& header);

/// Not a time at all: files have always carried this text, and readers compare files byte by byte.
inline constexpr char cineon_creation_time[] = "20:38:50Z";

inline constexpr char cineon_date_pattern[] = "%Y:%m:%d";

/// A header with no picture in it yet: every field that saves leave alone has its default.
cineon_header default_cineon_header(const char* path, const TimeText& date);

/// Sets the fields that every save writes. The rest of the header keeps what it holds.
void set_cineon_save_fields(cineon_header& header, const char* path, const TimeText& date,
                            const Source& source);

}  // namespace trellis::dpx
