#include "formats/dpx/queries.h"

#include <cstring>

#include "trellis/film.h"
#include "trellis/pic_format.h"

#include "formats/dpx/cineon_header.h"
#include "formats/dpx/dpx_header.h"
#include "frame/file.h"

namespace trellis::dpx {

namespace {

constexpr std::size_t dpx_probe_size = 4;
constexpr std::size_t cineon_probe_size = 192;

// Where Cineon images are said to start: after a header of 2056 bytes, whatever the file says.
constexpr unsigned int reported_cineon_offset = sizeof(cineon_buffer);

int close_with_size(InputFile& file, const Picture& picture, unsigned int* width,
                    unsigned int* height) {
    *width = picture.width();
    *height = picture.height();
    return code(file.close());
}

unsigned int probed_kind(std::uint8_t descriptor) {
    switch (descriptor) {
        case alpha_descriptor:
        case luminance_descriptor:
            return TRELLIS_KIND_MASK;
        case rgb_descriptor:
            return TRELLIS_KIND_IMAGE;
        case rgba_descriptor:
        case abgr_descriptor:
            return TRELLIS_KIND_CUTOUT;
        default:
            return TRELLIS_KIND_OTHER;
    }
}

unsigned int kind_of_channels(std::uint8_t count) {
    switch (count) {
        case mask_channels:
            return TRELLIS_KIND_MASK;
        case picture_channels:
            return TRELLIS_KIND_IMAGE;
        case cutout_channels:
            return TRELLIS_KIND_CUTOUT;
        default:
            return TRELLIS_KIND_OTHER;
    }
}

// A probe that is not given the number of channels takes the file for what most files are.
unsigned int kind_of_channels(const std::uint8_t* header, std::size_t length) {
    constexpr std::size_t place = offsetof(cineon_header, image.channel_count);
    return length > place ? kind_of_channels(header[place])
                          : static_cast<unsigned>(TRELLIS_KIND_IMAGE);
}

// What a probe says once it knows the format.
void answer(unsigned int found_kind, unsigned int* kind, unsigned int* is_this_format) {
    *is_this_format = found_kind == TRELLIS_KIND_OTHER ? 0 : 1;
    if (*is_this_format == 1) {
        *kind = found_kind;
    }
}

}  // namespace

int size_dpx(const char* name, unsigned int* width, unsigned int* height, FilmWords& words) {
    InputFile file;
    TRELLIS_TRY_CODE(file.open(name));
    raw_dpx_header header{};
    DpxFields fields{};
    TRELLIS_TRY_CODE(read_dpx_header(file, header, fields, words));
    Picture picture{};
    TRELLIS_TRY_CODE(fields.picture(picture));
    return close_with_size(file, picture, width, height);
}

int size_smpte(const char* name, unsigned int* width, unsigned int* height, FilmWords& words) {
    InputFile file;
    TRELLIS_TRY_CODE(file.open(name));
    words = cineon_words;
    cineon_buffer buffer{};
    TRELLIS_TRY_CODE(read_smpte_header(file, buffer));
    return close_with_size(file, picture_of(buffer.header), width, height);
}

int info_dpx(const char* name, unsigned int* compression, unsigned int* flag_a,
             unsigned int* flag_b, unsigned int* image_offset, unsigned int* kind,
             unsigned int* channels, unsigned int* deep, unsigned int* zero_1, unsigned int* zero_2,
             unsigned int* width, unsigned int* height, unsigned int* zero_3, FilmWords& words) {
    *zero_3 = 0;  // answered even for a file that fails
    InputFile file;
    TRELLIS_TRY_CODE(file.open(name));
    raw_dpx_header header{};
    DpxFields fields{};
    TRELLIS_TRY_CODE(read_dpx_fields(file, header, fields, words));
    *compression = 0;
    *flag_a = *flag_b = 1;
    *image_offset = fields.image_offset;

    // Luminance is a mask to the probe, but unknown here.
    *kind = fields.descriptor == luminance_descriptor ? static_cast<unsigned>(TRELLIS_KIND_OTHER)
                                                      : probed_kind(fields.descriptor);
    *channels = *kind == TRELLIS_KIND_CUTOUT ? 4 : *kind == TRELLIS_KIND_IMAGE ? 3 : 1;
    if (fields.bit_size == 8 || fields.bit_size == 10) {
        *deep = fields.bit_size == 10 ? 1 : 0;
    }
    *zero_1 = *zero_2 = 0;
    Picture picture{};
    TRELLIS_TRY_CODE(fields.picture(picture));
    return close_with_size(file, picture, width, height);
}

int info_smpte(const char* name, unsigned int* compression, unsigned int* flag_a,
               unsigned int* flag_b, unsigned int* image_offset, unsigned int* kind,
               unsigned int* channels, unsigned int* deep, unsigned int* zero_1,
               unsigned int* zero_2, unsigned int* width, unsigned int* height,
               unsigned int* zero_3, FilmWords& words) {
    *zero_3 = 0;  // answered even for a file that fails
    InputFile file;
    TRELLIS_TRY_CODE(file.open(name));
    words = cineon_words;
    cineon_buffer buffer{};
    TRELLIS_TRY_CODE(read_smpte_header(file, buffer));
    const cineon_header& header = buffer.header;
    *compression = 0;
    *flag_a = *flag_b = 1;
    *image_offset = reported_cineon_offset;
    *kind = kind_of_channels(header.image.channel_count);
    *channels = header.image.channel_count;
    *deep = 1;  // other depths do not get this far
    *zero_1 = *zero_2 = 0;
    return close_with_size(file, picture_of(header), width, height);
}

}  // namespace trellis::dpx

using namespace trellis;
using namespace trellis::dpx;

int inq_dpx_type_fn_(void* bytes, int length, const char* name, std::int64_t /*reserved*/,
                     unsigned int* kind, unsigned int* is_this_format) {
    if (length < static_cast<int>(dpx_probe_size)) {
        return code(Error::short_header);
    }
    if (!is_dpx_magic(bytes)) {
        return code(Error::none);
    }
    *is_this_format = 0;
    InputFile file;
    if (failed(file.open(name))) {
        return code(Error::none);
    }
    raw_dpx_header header{};
    TRELLIS_TRY_CODE(file.read_record(header));
    // One byte, so its byte order does not matter; and the process-wide words stay as they are.
    answer(probed_kind(header.image.elements[0].descriptor), kind, is_this_format);
    return code(Error::none);
}

int inq_smpte_type_fn(void* bytes, int length, const char* /*name*/, std::int64_t /*reserved*/,
                      unsigned int* kind, unsigned int* is_this_format) {
    // The length counts as unsigned: a negative one is long enough.
    const auto given = static_cast<unsigned int>(length);
    if (given < cineon_probe_size) {
        return code(Error::short_header);
    }
    const auto* header = static_cast<const std::uint8_t*>(bytes);
    be32 magic;
    std::memcpy(static_cast<void*>(&magic), header, sizeof magic);
    if (magic != cineon_magic) {
        *is_this_format = 0;
        return code(Error::none);
    }
    answer(kind_of_channels(header, given), kind, is_this_format);
    return code(Error::none);
}
