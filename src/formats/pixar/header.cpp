#include "formats/pixar/header.h"

#include <cstring>

namespace trellis::pixar {

bool pixar_header::has_magic() const {
    return std::memcmp(magic, pixar::magic, sizeof magic) == 0;
}

Error tile_grid(const pixar_header& header, TileGrid& grid) {
    if (header.width < 1 || header.height < 1 || header.tile_width < 1 || header.tile_height < 1) {
        return Error::unsupported;
    }
    grid.across = (header.width - 1) / header.tile_width + 1;
    grid.down = (header.height - 1) / header.tile_height + 1;
    return Error::none;
}

Error read_pixar_header(InputFile& file, pixar_header& header) {
    TRELLIS_TRY(file.read_record(header));
    return header.has_magic() ? Error::none : Error::magic;
}

}  // namespace trellis::pixar
