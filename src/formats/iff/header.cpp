#include "formats/iff/header.h"

namespace trellis::iff {

Error read_header_data(InputFile& file, const Chunk& chunk, maya_header& header) {
    constexpr std::size_t needed = offsetof(maya_header, reserved_24);
    return chunk.size < needed ? Error::read : file.read(&header, needed);
}

Error read_maya_header(InputFile& file, maya_header& header) {
    Chunk chunk{};
    if (Error error = read_iff_chunk_header(file, Forms::entered, chunk); failed(error)) {
        return error;
    }
    // A bare chunk of this name serves as well as a form.
    if (chunk.tag != picture_tag) {
        return Error::unsupported;
    }
    if (Error error = find_chunk(file, Forms::entered, header_tag, chunk); failed(error)) {
        return error;
    }
    if (Error error = read_header_data(file, chunk, header); failed(error)) {
        return error;
    }
    return skip_chunk(file, chunk);
}

}  // namespace trellis::iff
