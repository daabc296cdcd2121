#include "checksum.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <array>
#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <vector>

namespace trellis::host {

struct Hasher::State {
    XXH3_state_t xxh;
};

Hasher::Hasher() : state_(new State) {
    XXH3_128bits_reset(&state_->xxh);
}

Hasher::~Hasher() = default;

void Hasher::add(const void* bytes, std::size_t size) {
    XXH3_128bits_update(&state_->xxh, bytes, size);
}

Checksum Hasher::checksum() const {
    const XXH128_hash_t hash = XXH3_128bits_digest(&state_->xxh);
    return {hash.high64, hash.low64};
}

std::string Checksum::text() const {
    std::array<char, 33> digits{};
    std::snprintf(digits.data(), digits.size(), "%016" PRIx64 "%016" PRIx64, high, low);
    return digits.data();
}

std::optional<Checksum> Checksum::parse(const std::string& text) {
    if (text.size() != 32 || text.find_first_not_of("0123456789abcdef") != std::string::npos) {
        return {};
    }
    Checksum sum;
    const char* const middle = text.data() + 16;
    std::from_chars(text.data(), middle, sum.high, 16);
    std::from_chars(middle, middle + 16, sum.low, 16);
    return sum;
}

namespace {

/// Adds a number as four bytes, the lowest first.
void add_number(Hasher& hasher, std::uint32_t value) {
    std::array<std::uint8_t, 4> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
    hasher.add(bytes.data(), bytes.size());
}

/// Little-endian 16-bit words of one row.
void put_row(const Picture& picture, std::size_t row, std::uint8_t* out) {
    const auto width = static_cast<std::size_t>(picture.width());
    const auto* colour = reinterpret_cast<const std::uint16_t*>(picture.colour());
    const auto* matte = reinterpret_cast<const std::uint16_t*>(picture.matte());
    const auto put = [&out](std::uint16_t sample) {
        *out++ = static_cast<std::uint8_t>(sample);
        *out++ = static_cast<std::uint8_t>(sample >> 8);
    };
    for (std::size_t i = row * width; i < (row + 1) * width; ++i) {
        if (colour != nullptr) {
            put(colour[3 * i + 2]);
            put(colour[3 * i + 1]);
            put(colour[3 * i]);
        }
        if (matte != nullptr) {
            put(matte[i]);
        }
    }
}

std::uint32_t samples_of_pixel(const Picture& picture) {
    return (picture.colour() != nullptr ? 3U : 0U) + (picture.matte() != nullptr ? 1U : 0U);
}

}  // namespace

Checksum pixel_checksum(const std::string& path) {
    const Picture picture = load(path, {.depth = 16});
    const std::uint32_t samples = samples_of_pixel(picture);
    Hasher hasher;
    add_number(hasher, static_cast<std::uint32_t>(picture.width()));
    add_number(hasher, static_cast<std::uint32_t>(picture.height()));
    add_number(hasher, samples);
    std::vector<std::uint8_t> words(2 * std::size_t{samples} *
                                    static_cast<std::size_t>(picture.width()));
    for (auto row = static_cast<std::size_t>(picture.height()); row-- > 0;) {
        put_row(picture, row, words.data());
        hasher.add(words.data(), words.size());
    }
    return hasher.checksum();
}

}  // namespace trellis::host
