#include "iff_chunks.h"

#include <algorithm>
#include <cstdint>

#include "byte_order.h"

namespace trellis::host {

namespace {

constexpr std::uint64_t chunk_header_size = 8;
constexpr int deepest_form = 16;

// More are not shown: no picture has them, and nobody reads them.
constexpr int most_chunks = 100000;

class ChunkReader {
  public:
    explicit ChunkReader(BytesOfFile& file) : file_(file) {}

    /// The chunks from `position` to `end`, or to the end of the file.
    std::vector<HeaderChunk> chunks(std::uint64_t position, std::uint64_t end, int depth) {
        std::vector<HeaderChunk> list;
        while (position + chunk_header_size <= end && shown_ < most_chunks) {
            const std::string head = file_.at(position, chunk_header_size);
            if (head.size() < chunk_header_size) {
                break;
            }
            ++shown_;
            const std::uint64_t data = position + chunk_header_size;
            HeaderChunk chunk = {
                .tag = head.substr(0, 4), .offset = position, .size = big_endian(head, 4, 4)};
            describe(chunk, data, std::min(data + chunk.size, end), depth);
            position = data + (chunk.size + 3) / 4 * 4;
            list.push_back(std::move(chunk));
        }
        return list;
    }

  private:
    // A form has a type and the chunks in it; of the others, the picture's header has fields.
    void describe(HeaderChunk& chunk, std::uint64_t data, std::uint64_t end, int depth) {
        if (chunk.tag == "FOR4" && depth < deepest_form) {
            chunk.type = file_.at(data, 4);
            chunk.chunks = chunks(data + 4, end, depth + 1);
        } else if (chunk.tag == "TBHD" && chunk.size >= picture_header_size) {
            chunk.fields = picture_header(file_.at(data, picture_header_size));
        }
    }

    static constexpr std::size_t picture_header_size = 24;

    static std::vector<HeaderField> picture_header(const std::string& data) {
        if (data.size() < picture_header_size) {
            return {};
        }
        return {{"width", big_endian(data, 0, 4)},
                {"height", big_endian(data, 4, 4)},
                {"flags", big_endian(data, 12, 4)},
                {"tiles", big_endian(data, 18, 2)},
                {"compression", big_endian(data, 20, 4)}};
    }

    BytesOfFile& file_;
    int shown_ = 0;
};

}  // namespace

std::vector<HeaderChunk> iff_chunks(BytesOfFile& file) {
    return ChunkReader(file).chunks(0, UINT64_MAX / 2, 0);
}

}  // namespace trellis::host
