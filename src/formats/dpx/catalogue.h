#pragma once

// The catalogue picture of a Cineon file: a small preview in its user data.

#include <cstdint>

#include "formats/dpx/picture.h"
#include "frame/error.h"
#include "frame/file.h"
#include "frame/film_words.h"

namespace trellis::dpx {

inline constexpr int catalogue_width = 96;
inline constexpr int catalogue_height = 64;
inline constexpr std::uint32_t catalogue_pixels = catalogue_width * catalogue_height;

/// The bytes of a catalogue picture as the library writes it: four a pixel, top row first.
inline constexpr std::uint32_t catalogue_size = catalogue_pixels * 4;

/// Writes the catalogue picture of a save: every n-th pixel of every m-th row, of masks the matte.
Error write_catalogue(OutputFile& file, const Source& source);

/// The catalogue slot of Cineon files. `capacity` counts pixels of 4 bytes and must be at least
/// that of the file's user data and of the picture, else Error::buffer.
int load_smpte_catalogue(const char* name, void* buffer, int capacity, unsigned int* width,
                         unsigned int* height, unsigned int* present, FilmWords& words);

}  // namespace trellis::dpx
