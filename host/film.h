#pragma once

// What the host has to know of film files beyond their pixels.

#include <string>
#include <string_view>

#include "trellis/film.h"
#include "trellis/host.hpp"

namespace trellis::host {

constexpr bool is_film(unsigned int type) {
    return type == TRELLIS_TYPE_DPX || type == TRELLIS_TYPE_CINEON;
}

/// The value of a field; null when the header has none of this name.
const HeaderField::Value* find_value(const Header& header, std::string_view section,
                                     std::string_view field);

/// What a DPX or Cineon file really holds. Throws Error.
trellis_film_info film_info(const std::string& path);

/// Complete the description of a film file: all that a load wants to know, and where it is from.
void describe_pixels(Description& description, const trellis_film_info& info);
void describe_origin(Description& description, const std::string& path);

/// The header of a film file as a save can start from it: big-endian, whole, and saying nothing of
/// the file's samples that will not be true of 10 bits. Everything else in it is the file's own.
Picture::FilmHeader header_to_keep(const std::string& path, const trellis_film_info& info);

}  // namespace trellis::host
