// Saving samples with a header of the caller's own, for hosts with many threads.

#include <algorithm>
#include <cstring>

#include "trellis/film.h"
#include "trellis/pic_format.h"

#include "formats/dpx/cineon_header.h"
#include "formats/dpx/dpx_header.h"
#include "formats/dpx/picture.h"
#include "formats/dpx/writer.h"
#include "frame/memory.h"

namespace trellis::dpx {

namespace {

constexpr std::uint32_t greatest_code = 1023;
constexpr std::uint32_t full_scale = 16383;

// The caller's header over `record`, as far as it goes.
template <class Record>
void start_from(const trellis_film_save& options, Record& record) {
    if (options.header != nullptr) {
        std::memcpy(static_cast<void*>(&record), options.header,
                    std::min(options.header_size, sizeof record));
    }
}

bool is_known_header(const trellis_film_save& options) {
    const bool dpx = options.format == TRELLIS_TYPE_DPX;
    const std::size_t size = options.header_size;
    return options.header == nullptr ||
           (dpx ? size == sizeof(raw_dpx_header) || size == sizeof(dpx_header)
                : size == sizeof(cineon_header) || size == sizeof(cineon_buffer));
}

// A DPX header may come from a file of any kind: what it says about the samples, and an orientation
// that no save knows, give way to what a save writes.
void set_element(dpx_header& header) {
    auto& image = header.generic.image;
    const auto& fresh = default_dpx_header("", TimeText("")).generic.image.elements[0];
    auto& element = image.elements[0];
    const unsigned int orientation = image.orientation;
    if (orientation != 5 && orientation != 0x0500) {
        image.orientation = 0;
    }
    image.element_count = 1;
    element.data_sign = fresh.data_sign;
    element.bit_size = fresh.bit_size;
    element.packing = fresh.packing;
    element.encoding = fresh.encoding;
    element.data_offset = fresh.data_offset;
    element.line_padding = element.image_padding = 0;
}

Error write_picture(const char* name, const Source& source, const trellis_film_save& options) {
    OutputFile file;
    TRELLIS_TRY(file.create(name));
    if (options.format == TRELLIS_TYPE_DPX) {
        const TimeText time(dpx_time_pattern);
        dpx_header header = default_dpx_header(name, time);
        start_from(options, header);
        set_element(header);
        set_dpx_save_fields(header, name, time, source.rectangle, source.mode);
        return write_dpx(file, header, source);
    }
    const TimeText date(cineon_date_pattern);
    cineon_header header = default_cineon_header(name, date);
    start_from(options, header);
    mend_cineon_header(header);
    set_cineon_save_fields(header, name, date, source.rectangle, source.mode);
    return write_smpte(file, header, source);
}

// The codes of scaled samples: of a mask, the samples whose upper ten bits are the code.
void codes_of(const std::uint16_t* samples, std::size_t count, int shift, std::uint16_t* codes) {
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t sample = std::min<std::uint32_t>(samples[i], full_scale);
        const std::uint32_t code = (sample * greatest_code + full_scale / 2) / full_scale;
        codes[i] = static_cast<std::uint16_t>(code << shift);
    }
}

// A copy of one buffer's rectangle in codes.
template <class View>
Error copy_codes(const View& from, const Rectangle& r, std::size_t channels, int shift,
                 Block<std::uint16_t>& codes) {
    const auto row = static_cast<std::size_t>(r.width()) * channels;
    TRELLIS_TRY(codes.allocate(row * static_cast<std::uint64_t>(r.height())));
    for (std::int64_t y = r.y0; y <= r.y1; ++y) {
        codes_of(from.pixel(r.x0, y), row, shift,
                 codes.data() + static_cast<std::size_t>(y - r.y0) * row);
    }
    return Error::none;
}

Error save_scaled(const char* name, Source source, const trellis_film_save& options) {
    if (source.rectangle.empty()) {
        return Error::window;
    }
    Block<std::uint16_t> colour;
    Block<std::uint16_t> matte;
    const Rectangle r = source.rectangle;
    if (source.colour) {
        TRELLIS_TRY(copy_codes(source.colour, r, 3, 0, colour));
        source.colour = ColourSource16(colour.data(), r.width());
    }
    if (source.matte) {
        const int shift = source.mode == Mode::mask ? 4 : 0;
        TRELLIS_TRY(copy_codes(source.matte, r, 1, shift, matte));
        source.matte = MatteSource16(matte.data(), r.width());
    }
    source.rectangle = {0, 0, r.width() - 1, r.height() - 1};
    return write_picture(name, source, options);
}

Error save_samples(const char* name, const Source& source, const trellis_film_save* options) {
    if (options == nullptr || options->size < sizeof *options) {
        return Error::buffer;
    }
    const bool known =
        options->format == TRELLIS_TYPE_DPX || options->format == TRELLIS_TYPE_CINEON;
    const auto* magic = static_cast<const char*>(options->header);
    if (!known || options->bits != 10 || !is_known_header(*options) ||
        (!source.colour && !source.matte) || (magic != nullptr && *magic == 'X')) {
        return Error::unsupported;
    }
    return options->scaled != 0 ? save_scaled(name, source, *options)
                                : write_picture(name, source, *options);
}

}  // namespace
}  // namespace trellis::dpx

using namespace trellis;

int save_film_samples_trellis(const char* name, const void* rgb, int pitch, const void* alpha,
                              int alpha_pitch, int x0, int y0, int x1, int y1,
                              const trellis_film_save* options) {
    const dpx::Mode mode = rgb == nullptr     ? dpx::Mode::mask
                           : alpha == nullptr ? dpx::Mode::picture
                                              : dpx::Mode::cutout;
    return code(dpx::save_samples(
        name,
        {ColourSource16(rgb, pitch), MatteSource16(alpha, alpha_pitch), {x0, y0, x1, y1}, mode},
        options));
}
