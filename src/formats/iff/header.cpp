#include "formats/iff/header.h"

namespace trellis::iff {

Error read_header_data(InputFile& file, const Chunk& chunk, maya_header& header) {
    constexpr std::size_t needed = offsetof(maya_header, reserved_24);
    return chunk.size < needed ? Error::read : file.read(&header, needed);
}

Error read_maya_header(InputFile& file, maya_header& header) {
    Chunk chunk{};
    TRELLIS_TRY(read_iff_chunk_header(file, Forms::entered, chunk));
    // A bare chunk of this name serves as well as a form.
    if (chunk.tag != picture_tag) {
        return Error::unsupported;
    }
    TRELLIS_TRY(find_chunk(file, Forms::entered, header_tag, chunk));
    TRELLIS_TRY(read_header_data(file, chunk, header));
    return skip_chunk(file, chunk);
}

}  // namespace trellis::iff
