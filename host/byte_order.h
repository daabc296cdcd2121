#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace trellis::host {

/// The number in up to four bytes at `offset`, the most significant first; or the least.
inline std::uint32_t big_endian(std::string_view bytes, std::size_t offset, std::size_t size) {
    std::uint32_t value = 0;
    for (const char byte : bytes.substr(offset, size)) {
        value = value << 8 | static_cast<unsigned char>(byte);
    }
    return value;
}

inline std::uint32_t little_endian(std::string_view bytes, std::size_t offset, std::size_t size) {
    std::uint32_t value = 0;
    for (std::size_t i = size; i-- > 0;) {
        value = value << 8 | static_cast<unsigned char>(bytes[offset + i]);
    }
    return value;
}

}  // namespace trellis::host
