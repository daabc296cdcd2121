#pragma once

// What the two film headers have in common: marks for undefined fields, floats, texts and times.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>

#include "frame/byte_order.h"

namespace trellis::dpx {

/// An undefined integer has all its bits set.
inline constexpr std::uint8_t undefined_8 = 0xFF;
inline constexpr std::uint16_t undefined_16 = 0xFFFF;
inline constexpr std::uint32_t undefined_32 = 0xFFFFFFFF;

/// A float as its four bytes in the file. Nothing here computes with one, and the undefined mark
/// stands in these very bytes whatever the byte order of its file.
struct float_field {
    std::uint8_t bytes[4];
};

inline constexpr float_field undefined_float = {{0x00, 0x00, 0xFF, 0x4E}};

constexpr float_field big_endian_float(float value) {
    return std::bit_cast<float_field>(be32(std::bit_cast<std::uint32_t>(value)));
}

constexpr float_field little_endian_float(float value) {
    return std::bit_cast<float_field>(le32(std::bit_cast<std::uint32_t>(value)));
}

/// Fills a text field: zero bytes after a shorter text, no terminator after a longer one.
template <std::size_t size>
void set_text(char (&field)[size], const char* text) {
    const std::size_t length = strnlen(text, size);
    std::memcpy(field, text, length);
    std::memset(field + length, 0, size - length);
}

/// The UTC time of a save, taken once so that all fields which tell it agree.
struct TimeText {
    char text[32] = {};

    explicit TimeText(const char* pattern) {
        const std::time_t now = std::time(nullptr);
        std::tm utc{};
        if (gmtime_r(&now, &utc) == nullptr ||
            std::strftime(text, sizeof text, pattern, &utc) == 0) {
            text[0] = '\0';
        }
    }
};

}  // namespace trellis::dpx
