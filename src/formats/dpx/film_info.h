#pragma once

// What a film file really holds, and what of it can be loaded.

#include "trellis/film.h"

#include "frame/error.h"
#include "frame/file.h"

namespace trellis::dpx {

/// Describes an open file from its first bytes, which stay unread. Error::read when the header is
/// cut short, Error::magic when it is of neither format.
Error describe_film(InputFile& file, trellis_film_info& info);

}  // namespace trellis::dpx
