#pragma once

// Saving a rectangle as a DPX or Cineon file.

#include "formats/dpx/cineon_header.h"
#include "formats/dpx/dpx_header.h"
#include "formats/dpx/picture.h"
#include "frame/error.h"
#include "frame/file.h"

namespace trellis::dpx {

/// Write a header in which the fields of each save are set, and the picture after it. An
/// orientation that nothing is saved in is Error::unsupported once the header is in the file.
Error write_dpx(OutputFile& file, const dpx_header& header, const Source& source);
Error write_smpte(OutputFile& file, const cineon_header& header, const Source& source);

}  // namespace trellis::dpx
