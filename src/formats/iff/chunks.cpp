#include "formats/iff/chunks.h"

#include <cstring>

namespace trellis::iff {

namespace {

// Small records come out of the read-ahead buffer. The file's size is checked first, so that a walk
// from chunk to chunk comes to an end even on a device that never does.
template <class Record>
Error read_small(InputFile& file, Record& record) {
    if (file.remaining() < sizeof record ||
        file.window(sizeof record, walking_step).size() < sizeof record) {
        return Error::read;
    }
    return file.read_record(record);
}

}  // namespace

Error read_iff_chunk_header(InputFile& file, Forms forms, Chunk& chunk) {
    iff_chunk_header header{};
    if (Error error = read_small(file, header); failed(error)) {
        return error;
    }
    chunk = {header.tag, header.size, file.position()};
    if (chunk.tag == form_tag && forms == Forms::entered) {
        be32 type;
        if (Error error = read_small(file, type); failed(error)) {
            return error;
        }
        // A form too small for its own type wraps to a size that leads out of any file.
        chunk = {type, header.size - std::uint32_t{sizeof type}, file.position()};
    }
    return Error::none;
}

Error skip_chunk(InputFile& file, const Chunk& chunk) {
    return failed(file.seek(chunk.end())) ? Error::read : Error::none;
}

Error find_chunk(InputFile& file, Forms forms, std::uint32_t wanted, Chunk& chunk) {
    if (Error error = read_iff_chunk_header(file, forms, chunk); failed(error)) {
        return error;
    }
    while (chunk.tag != wanted) {
        if (Error error = skip_chunk(file, chunk); failed(error)) {
            return error;
        }
        if (Error error = read_iff_chunk_header(file, forms, chunk); failed(error)) {
            return error;
        }
    }
    return Error::none;
}

}  // namespace trellis::iff
