// Byte-order helpers offered to hosts.

#include "trellis/bytes.h"

#include <bit>
#include <cstdint>
#include <utility>

#include "frame/byte_order.h"

namespace {

unsigned char* bytes_of(void* value) {
    return static_cast<unsigned char*>(value);
}

}  // namespace

int chars_to_short_pic(const unsigned char* bytes) {
    return static_cast<std::int16_t>(bytes[0] | bytes[1] << 8);
}

void short_to_chars_pic(unsigned char* bytes, short value) {
    bytes[0] = static_cast<unsigned char>(value & 0xFF);
    bytes[1] = static_cast<unsigned char>((value >> 8) & 0xFF);
}

long chars_to_long_pic(const unsigned char* bytes) {
    return static_cast<long>(bytes[0]) | static_cast<long>(bytes[1]) << 8 |
           static_cast<long>(bytes[2]) << 16 | static_cast<long>(bytes[3]) << 24;
}

void long_to_chars_pic(unsigned char* bytes, long value) {
    for (int i = 0; i < 4; ++i) {
        bytes[i] = static_cast<unsigned char>((value >> (8 * i)) & 0xFF);
    }
}

void swapends_short_pic(void* two_bytes) {
    unsigned char* bytes = bytes_of(two_bytes);
    std::swap(bytes[0], bytes[1]);
}

void swap_shorts_long_pic(void* two_words) {
    unsigned char* bytes = bytes_of(two_words);
    std::swap(bytes[0], bytes[2]);
    std::swap(bytes[1], bytes[3]);
}

void swapends_long_pic(void* long_value) {
    // Four bytes, though a long has eight: the formats keep 32-bit numbers in the first half.
    unsigned char* bytes = bytes_of(long_value);
    std::swap(bytes[0], bytes[3]);
    std::swap(bytes[1], bytes[2]);
}

unsigned int SwapBytesInWord(int keep, unsigned int value) {
    const auto word = static_cast<std::uint16_t>(value);
    return keep != 0 ? word : trellis::reverse_bytes(word);
}

unsigned int SwapWordsInDword(int keep, unsigned int value) {
    return keep != 0 ? value : std::rotl(value, 16);
}

unsigned int SwapBytesInDword(int keep, unsigned int value) {
    return keep != 0 ? value : trellis::reverse_bytes(value);
}

float OR_ImageSwapFloat(float value) {
    return std::bit_cast<float>(trellis::reverse_bytes(std::bit_cast<std::uint32_t>(value)));
}
