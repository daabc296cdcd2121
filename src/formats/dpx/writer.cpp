#include "formats/dpx/writer.h"

#include "formats/dpx/catalogue.h"
#include "formats/dpx/lines.h"

namespace trellis::dpx {

namespace {

// Saves the picture after a header that is in the file, whatever its orientation turns out to be.
Error write_picture(OutputFile& file, unsigned int orientation_number, const Source& source) {
    TRELLIS_TRY(file.flush());
    Orientation orientation{};
    TRELLIS_TRY(parse_orientation(orientation_number, orientation));
    TRELLIS_TRY(pack_lines(file, source, orientation));
    return file.close();
}

}  // namespace

Error write_dpx(OutputFile& file, const dpx_header& header, const Source& source) {
    TRELLIS_TRY(file.write_record(header));
    return write_picture(file, header.generic.image.orientation, source);
}

Error write_smpte(OutputFile& file, const cineon_header& header, const Source& source) {
    TRELLIS_TRY(file.write_record(header));
    TRELLIS_TRY(write_catalogue(file, source));
    return write_picture(file, header.image.orientation, source);
}

}  // namespace trellis::dpx
