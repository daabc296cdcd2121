#include "formats/iff/header.h"

namespace trellis::iff {

Error read_maya_header(InputFile& file, maya_header& header) {
    Chunk chunk{};
    TRELLIS_TRY(read_iff_chunk_header(file, Forms::entered, chunk));
    // A bare chunk of this name serves as well as a form.
    if (chunk.tag != picture_tag) {
        return Error::unsupported;
    }
    TRELLIS_TRY(find_chunk(file, Forms::entered, header_tag, chunk));
    // The fields are there whatever the chunk's size, which only says where the next chunk starts.
    TRELLIS_TRY(peek(file, &header, offsetof(maya_header, reserved_24)));
    return skip_chunk(file, chunk);
}

}  // namespace trellis::iff
