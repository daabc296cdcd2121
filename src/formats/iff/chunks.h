#pragma once

// IFF chunks, the building blocks of the file: a tag, a size, and data that are padded to a
// multiple of 4 bytes. A chunk tagged "FOR4" is a form: its data are a form type and further
// chunks.

#include <cstdint>

#include "frame/byte_order.h"
#include "frame/error.h"
#include "frame/file.h"

namespace trellis::iff {

/// The number that the four characters of a tag make.
constexpr std::uint32_t tag(const char (&characters)[5]) {
    std::uint32_t number = 0;
    for (int i = 0; i < 4; ++i) {
        number = number << 8 | static_cast<unsigned char>(characters[i]);
    }
    return number;
}

inline constexpr std::uint32_t form_tag = tag("FOR4");
inline constexpr std::uint32_t picture_tag = tag("CIMG");
inline constexpr std::uint32_t header_tag = tag("TBHD");
inline constexpr std::uint32_t bitmap_tag = tag("TBMP");
inline constexpr std::uint32_t tile_tag = tag("RGBA");
inline constexpr std::uint32_t depth_tag = tag("ZBUF");

/// What precedes the data of a chunk.
struct iff_chunk_header {
    be32 tag;
    be32 size;
};

static_assert(sizeof(iff_chunk_header) == 8);

/// Chunks start on multiples of this many bytes.
inline constexpr std::uint64_t chunk_alignment = 4;

constexpr std::uint64_t padded(std::uint64_t size) {
    return (size + chunk_alignment - 1) / chunk_alignment * chunk_alignment;
}

/// A chunk that is being read.
struct Chunk {
    std::uint32_t tag;
    std::uint32_t size;      // of the data, without padding
    std::uint64_t position;  // of the first data byte

    /// Where the next chunk starts.
    std::uint64_t end() const { return padded(position + size); }
};

/// How a form is seen: as a chunk like any other, or as one named by its form type whose data are
/// the chunks within.
enum class Forms { closed, entered };

/// When only chunk headers are wanted, the file is read in pieces of this size: smaller ones save
/// nothing, and most chunks between the wanted ones are larger and need not be read at all.
inline constexpr std::size_t walking_step = 1024;

/// Copies a small record out of the read-ahead buffer without moving past it, so that whatever it
/// says, the next step leads forward. The file's size is checked first: a walk from chunk to chunk
/// comes to an end even on a device that never does.
Error peek(InputFile& file, void* record, std::size_t size);

/// Reads the header of the chunk that starts at the file's position, and stops at its first data
/// byte. Error::read when the file ends before.
Error read_iff_chunk_header(InputFile& file, Forms forms, Chunk& chunk);

/// Moves to the chunk after this one, which the file may end before.
Error skip_chunk(InputFile& file, const Chunk& chunk);

/// Reads chunk headers, skipping chunks, until one has the wanted tag.
Error find_chunk(InputFile& file, Forms forms, std::uint32_t wanted, Chunk& chunk);

}  // namespace trellis::iff
