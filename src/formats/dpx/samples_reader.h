#pragma once

// Loading scaled samples of any DPX or Cineon file that can be shown.

#include "formats/dpx/picture.h"
#include "frame/error.h"
#include "frame/limits.h"

namespace trellis::dpx {

/// Loads a rectangle of the file's picture. Errors are those of `load_film_samples_trellis`.
Error load_samples(const char* name, const Target& target, const Limits& limits);

}  // namespace trellis::dpx
