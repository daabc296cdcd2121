#pragma once

// Headers held against what their files can hold, for the formats that store pictures in tiles or
// compressed. (What there is to say about film files, the library says: film.h.)

#include <string>

#include "trellis/host.hpp"

namespace trellis::host {

/// Fills in what a load of the file would refuse or miss. Reads as little as that takes. Throws
/// Error.
void check_pixar(Description& description, const std::string& path);
void check_maya(Description& description, const std::string& path);
void check_png(Description& description, const std::string& path);

}  // namespace trellis::host
