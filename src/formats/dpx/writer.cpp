#include "formats/dpx/writer.h"

#include "formats/dpx/catalogue.h"
#include "formats/dpx/cineon_header.h"
#include "formats/dpx/dpx_header.h"
#include "formats/dpx/last_header.h"
#include "formats/dpx/lines.h"
#include "frame/file.h"

namespace trellis::dpx {

namespace {

// Saves the picture after a header that is in the file, whatever its orientation turns out to be.
Error save_lines(OutputFile& file, unsigned int orientation_number, Colour16 colour, Matte16 matte,
                 const Rectangle& rectangle, Mode mode) {
    Orientation orientation{};
    TRELLIS_TRY(parse_orientation(orientation_number, orientation));
    TRELLIS_TRY(pack_ten_bit_lines(file, colour, matte, rectangle, mode, orientation));
    return file.close();
}

}  // namespace

Error save_dpx(const char* name, Colour16 colour, Matte16 matte, const Rectangle& rectangle,
               Mode mode) {
    const TimeText time(dpx_time_pattern);
    OutputFile file;
    TRELLIS_TRY(file.create(name));
    auto* header = held_last_header<dpx_header>(TRELLIS_TYPE_DPX);
    if (header == nullptr) {
        header = new_last_header<dpx_header>(TRELLIS_TYPE_DPX);
        if (header == nullptr) {
            return Error::allocation;
        }
        *header = default_dpx_header(name, time);
    }
    set_dpx_save_fields(*header, name, time, rectangle, mode);
    TRELLIS_TRY(file.write_record(*header));
    TRELLIS_TRY(file.flush());
    const std::uint16_t orientation = header->generic.image.orientation;
    leave_in_host_order(header->generic.image.orientation, orientation);
    return save_lines(file, orientation, colour, matte, rectangle, mode);
}

Error save_smpte(const char* name, Colour16 colour, Matte16 matte, const Rectangle& rectangle,
                 Mode mode) {
    const TimeText date(cineon_date_pattern);
    OutputFile file;
    TRELLIS_TRY(file.create(name));
    auto* buffer = held_last_header<cineon_buffer>(TRELLIS_TYPE_CINEON);
    if (buffer == nullptr) {
        buffer = new_last_header<cineon_buffer>(TRELLIS_TYPE_CINEON);
        if (buffer == nullptr) {
            return Error::allocation;
        }
        buffer->header = default_cineon_header(name, date);
    }
    cineon_header& header = buffer->header;
    set_cineon_save_fields(header, name, date, rectangle, mode);
    TRELLIS_TRY(file.write_record(header));
    TRELLIS_TRY(write_catalogue(file, colour, matte, rectangle));
    TRELLIS_TRY(file.flush());
    return save_lines(file, header.image.orientation, colour, matte, rectangle, mode);
}

}  // namespace trellis::dpx
