#pragma once

// Loading a rectangle of a DPX or Cineon file.

#include "formats/dpx/cineon_header.h"
#include "formats/dpx/dpx_header.h"
#include "formats/dpx/picture.h"
#include "formats/dpx/pixels.h"
#include "frame/error.h"
#include "frame/file.h"
#include "frame/film_words.h"
#include "frame/limits.h"

namespace trellis::dpx {

/// A film file open for a load: at its image data once its header has been read.
struct FilmFile {
    InputFile file;
    FilmWords words;  // what the header says to them
    Picture picture{};
    Layout layout{};
};

/// Read the header of an open file. `header` becomes what hosts are to find in the last-header
/// buffer, also after a failure: it keeps the bytes that the file did not have. Errors: those of
/// read_dpx_header and read_smpte_header, Error::seek, and Error::unsupported (orientation).
Error read_dpx(FilmFile& film, raw_dpx_header& header);
Error read_smpte(FilmFile& film, cineon_buffer& header);

/// Loads from a file whose header has been read, and closes it. A picture beyond `limits` is
/// Error::allocation, a rectangle that does not lie inside the file's picture Error::window.
Error load_lines(FilmFile& film, const Target& target, const Limits& limits);

}  // namespace trellis::dpx
