#include "formats/dpx/samples_writer.h"

#include <algorithm>
#include <cstring>

#include "trellis/pic_format.h"

#include "formats/dpx/cineon_header.h"
#include "formats/dpx/writer.h"

namespace trellis::dpx {

namespace {

bool is_known_header(const trellis_film_save& options) {
    const std::size_t size = options.header_size;
    if (options.header == nullptr || size == 0) {
        return true;
    }
    if (options.format == TRELLIS_TYPE_CINEON) {
        return size == sizeof(cineon_header) || size == sizeof(cineon_buffer);
    }
    const bool whole = size == sizeof(raw_dpx_header) || size == sizeof(dpx_header);
    return whole && *static_cast<const char*>(options.header) != 'X';  // little-endian
}

bool is_known_storage(const trellis_film_save& options) {
    switch (options.bits) {
        case 10:
            return options.format == TRELLIS_TYPE_DPX || options.format == TRELLIS_TYPE_CINEON;
        case 8:
        case 12:
        case 16:
            return options.format == TRELLIS_TYPE_DPX && options.scaled != 0;
        default:
            return false;
    }
}

// The caller's header over `record`, as far as it goes.
template <class Record>
void start_from(const trellis_film_save& options, Record& record) {
    std::memcpy(static_cast<void*>(&record), options.header,
                std::min(options.header_size, sizeof record));
}

Error save_dpx(OutputFile& file, const char* name, const Source& source,
               const trellis_film_save& options) {
    const TimeText time(dpx_time_pattern);
    dpx_header header = default_dpx_header(name, time);
    start_from(options, header);
    // A header may come from a file of any kind: an orientation that no save knows gives way.
    auto& orientation = header.generic.image.orientation;
    if (orientation != 5 && orientation != 0x0500) {
        orientation = 0;
    }
    set_storage(header, source.bits);
    set_dpx_save_fields(header, name, time, source);
    return write_dpx(file, header, source);
}

Error save_smpte(OutputFile& file, const char* name, const Source& source,
                 const trellis_film_save& options) {
    const TimeText date(cineon_date_pattern);
    cineon_header header = default_cineon_header(name, date);
    start_from(options, header);
    mend_cineon_header(header);
    set_cineon_save_fields(header, name, date, source);
    return write_smpte(file, header, source);
}

}  // namespace

Error parse_options(const trellis_film_save* options, Source& source) {
    if (options == nullptr || options->size < sizeof *options) {
        return Error::buffer;
    }
    if (!is_known_storage(*options) || !is_known_header(*options) ||
        (!source.colour && !source.matte)) {
        return Error::unsupported;
    }
    source.scaled = options->scaled != 0;
    source.bits = options->bits;
    return Error::none;
}

void set_storage(dpx_header& header, int bits) {
    const auto& fresh = default_dpx_header("", TimeText("")).generic.image.elements[0];
    auto& image = header.generic.image;
    auto& element = image.elements[0];
    image.element_count = 1;
    if (element.bit_size != bits) {  // the reference codes are those of other samples
        element.low_code = 0;
        element.high_code = (1U << bits) - 1;
    }
    element.data_sign = fresh.data_sign;
    element.bit_size = static_cast<std::uint8_t>(bits);
    // Samples that fill their bytes are packed without gaps, the others from the top.
    element.packing = bits == 8 || bits == 16 ? std::uint16_t{0} : std::uint16_t{1};
    element.encoding = fresh.encoding;
    element.data_offset = fresh.data_offset;
    element.line_padding = element.image_padding = 0;
}

Error save_with_header(const char* name, const Source& source, const trellis_film_save& options) {
    OutputFile file;
    TRELLIS_TRY(file.create(name));
    return options.format == TRELLIS_TYPE_DPX ? save_dpx(file, name, source, options)
                                              : save_smpte(file, name, source, options);
}

}  // namespace trellis::dpx
