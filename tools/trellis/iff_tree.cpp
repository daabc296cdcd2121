#include "iff_tree.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <fstream>

#include "trellis/errors.h"
#include "trellis/host.hpp"

namespace tool {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::uint64_t chunk_header_size = 8;
constexpr int deepest_form = 16;

// More are not shown: no picture has them, and nobody reads them.
constexpr int most_chunks = 100000;

class ChunkReader {
  public:
    explicit ChunkReader(const std::string& path) : file_(path, std::ios::binary) {
        file_.seekg(0, std::ios::end);
        if (!file_) {
            throw trellis::host::Error(path, TRELLIS_OPEN_ERROR);
        }
        size_ = static_cast<std::uint64_t>(file_.tellg());
    }

    /// The chunks from `position` to `end`.
    Json chunks(std::uint64_t position, std::uint64_t end, int depth) {
        Json list = Json::array();
        end = std::min(end, size_);
        while (position + chunk_header_size <= end && shown_ < most_chunks) {
            ++shown_;
            const std::string head = bytes(position, chunk_header_size);
            const std::uint64_t size = number(head, 4, 4);
            const std::uint64_t data = position + chunk_header_size;
            Json chunk = {{"tag", head.substr(0, 4)}, {"offset", position}, {"size", size}};
            if (chunk["tag"] == "FOR4" && depth < deepest_form && data + 4 <= end) {
                chunk["type"] = bytes(data, 4);
                chunk["chunks"] = chunks(data + 4, std::min(data + size, end), depth + 1);
            } else if (chunk["tag"] == "TBHD" && size >= 24 && data + 24 <= end) {
                chunk["fields"] = header_fields(bytes(data, 24));
            }
            list.push_back(std::move(chunk));
            position = data + (size + 3) / 4 * 4;
        }
        return list;
    }

    std::uint64_t size() const { return size_; }

  private:
    static Json header_fields(const std::string& data) {
        return {{"width", number(data, 0, 4)},
                {"height", number(data, 4, 4)},
                {"flags", number(data, 12, 4)},
                {"tiles", number(data, 18, 2)},
                {"compression", number(data, 20, 4)}};
    }

    std::string bytes(std::uint64_t position, std::size_t size) {
        std::string read(size, '\0');
        file_.clear();
        file_.seekg(static_cast<std::streamoff>(position));
        file_.read(read.data(), static_cast<std::streamsize>(size));
        return read;
    }

    static std::uint64_t number(const std::string& bytes, std::size_t offset, std::size_t size) {
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < size; ++i) {
            value = value * 256 + static_cast<unsigned char>(bytes[offset + i]);
        }
        return value;
    }

    std::ifstream file_;
    std::uint64_t size_ = 0;
    int shown_ = 0;
};

}  // namespace

Json iff_tree(const std::string& path) {
    ChunkReader reader(path);
    return reader.chunks(0, reader.size(), 0);
}

}  // namespace tool
