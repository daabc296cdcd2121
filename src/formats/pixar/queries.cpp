#include "formats/pixar/queries.h"

#include <cstring>

#include "formats/pixar/header.h"
#include "frame/file.h"

namespace trellis::pixar {

namespace {

// The largest side that the probe takes for one; the writer can make larger pictures.
constexpr int largest_probed_side = 9999;
constexpr int newest_version = 10;

bool plausible_side(int side) {
    return side >= 1 && side <= largest_probed_side;
}

Error open_and_read_header(const char* name, pixar_header& header) {
    InputFile file;
    TRELLIS_TRY(file.open(name));
    return read_pixar_header(file, header);
}

// Header fields are signed 16-bit; hosts get them sign-extended to 32 bits.
unsigned int extended(std::int16_t value) {
    return static_cast<unsigned int>(value);
}

}  // namespace

int inq_pixar_type_fn(void* bytes, int length, const char* /*name*/, std::int64_t /*reserved*/,
                      unsigned int* kind, unsigned int* is_this_format) {
    if (length < static_cast<int>(probe_size)) {
        return code(Error::short_header);
    }
    pixar_header header{};
    std::memcpy(&header, bytes, probe_size);
    if (!header.has_magic() || header.version < 0 || header.version > newest_version ||
        !plausible_side(header.width) || !plausible_side(header.height)) {
        return code(Error::none);
    }
    *is_this_format = 1;
    switch (header.format) {
        case image_format:
            *kind = TRELLIS_KIND_IMAGE;
            break;
        case cutout_format:
            *kind = TRELLIS_KIND_CUTOUT;
            break;
        case mask_format:
            *kind = TRELLIS_KIND_MASK;
            break;
        default:
            *is_this_format = 0;
    }
    return code(Error::none);
}

int size_pixar(const char* name, unsigned int* width, unsigned int* height) {
    pixar_header header{};
    TRELLIS_TRY_CODE(open_and_read_header(name, header));
    *width = extended(header.width);
    *height = extended(header.height);
    return code(Error::none);
}

int info_pixar(const char* name, unsigned int* compression, unsigned int* flag_a,
               unsigned int* flag_b, unsigned int* image_offset, unsigned int* kind,
               unsigned int* channels, unsigned int* deep, unsigned int* zero_1,
               unsigned int* zero_2, unsigned int* width, unsigned int* height,
               unsigned int* /*zero_3: this query has always left the last out alone*/) {
    pixar_header header{};
    TRELLIS_TRY_CODE(open_and_read_header(name, header));
    *flag_a = *flag_b = *image_offset = *zero_1 = *zero_2 = 0;

    // Any four channels are a cutout and any three an image, as far as this query goes.
    const int count = channel_count(header.format);
    *channels = static_cast<unsigned int>(count);
    if (count == 4) {
        *kind = TRELLIS_KIND_CUTOUT;
    } else if (count == 3) {
        *kind = TRELLIS_KIND_IMAGE;
    } else if (count == 1) {
        *kind = TRELLIS_KIND_MASK;
    }
    Error result = Error::unsupported;
    if (header.storage <= deep_dumped) {
        *compression = is_packed(header.storage) ? 1 : 0;
        *deep = is_deep(header.storage) ? 1 : 0;
        result = Error::none;
    }
    *width = extended(header.width);
    *height = extended(header.height);
    return code(result);
}

}  // namespace trellis::pixar
