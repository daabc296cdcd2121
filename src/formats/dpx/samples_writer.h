#pragma once

// Saving as save_film_samples_trellis offers it: how samples are stored is the caller's choice, and
// the header may be.

#include "trellis/film.h"

#include "formats/dpx/dpx_header.h"
#include "formats/dpx/picture.h"
#include "frame/error.h"

namespace trellis::dpx {

/// What such a save has to write. Error::buffer and Error::unsupported when it cannot be saved.
Error parse_options(const trellis_film_save* options, Source& source);

/// Sets the fields of a header that say how samples of `bits` bits are stored.
void set_storage(dpx_header& header, int bits);

/// Saves with the header that the options name.
Error save_with_header(const char* name, const Source& source, const trellis_film_save& options);

}  // namespace trellis::dpx
