#include "formats/iff/chunks.h"

#include <cstring>

namespace trellis::iff {

namespace {

template <class Record>
Error read_small(InputFile& file, Record& record) {
    TRELLIS_TRY(peek(file, &record, sizeof record));
    file.consume(sizeof record);
    return Error::none;
}

}  // namespace

Error peek(InputFile& file, void* record, std::size_t size) {
    if (file.remaining() < size) {
        return Error::read;
    }
    const std::span<const std::uint8_t> bytes = file.window(size, walking_step);
    if (bytes.size() < size) {
        return Error::read;
    }
    std::memcpy(record, bytes.data(), size);
    return Error::none;
}

Error read_iff_chunk_header(InputFile& file, Forms forms, Chunk& chunk) {
    iff_chunk_header header{};
    TRELLIS_TRY(read_small(file, header));
    chunk = {header.tag, header.size, file.position()};
    if (chunk.tag == form_tag && forms == Forms::entered) {
        be32 type;
        TRELLIS_TRY(read_small(file, type));
        // A form too small for its own type wraps to a size that leads out of any file.
        chunk = {type, header.size - std::uint32_t{sizeof type}, file.position()};
    }
    return Error::none;
}

Error skip_chunk(InputFile& file, const Chunk& chunk) {
    return failed(file.seek(chunk.end())) ? Error::read : Error::none;
}

Error find_chunk(InputFile& file, Forms forms, std::uint32_t wanted, Chunk& chunk) {
    TRELLIS_TRY(read_iff_chunk_header(file, forms, chunk));
    while (chunk.tag != wanted) {
        TRELLIS_TRY(skip_chunk(file, chunk));
        TRELLIS_TRY(read_iff_chunk_header(file, forms, chunk));
    }
    return Error::none;
}

}  // namespace trellis::iff
