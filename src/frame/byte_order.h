#pragma once

// Integers in a file's byte order, for on-disk records.
//
// A record is a struct of these types: it has no padding and no alignment, its bytes are those of
// the file, and every access converts. No swap can be forgotten and nothing is swapped in place.

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace trellis {

template <std::unsigned_integral T>
constexpr T reverse_bytes(T value) {
    if constexpr (sizeof(T) == 1) {
        return value;
    } else if constexpr (sizeof(T) == 2) {
        return __builtin_bswap16(value);
    } else if constexpr (sizeof(T) == 4) {
        return __builtin_bswap32(value);
    } else {
        return __builtin_bswap64(value);
    }
}

template <std::integral T, std::endian order>
class Ordered {
  public:
    constexpr Ordered() = default;
    constexpr Ordered(T value) { *this = value; }  // NOLINT(google-explicit-constructor)

    constexpr Ordered& operator=(T value) {
        bytes_ = std::bit_cast<Bytes>(converted(static_cast<Word>(value)));
        return *this;
    }

    constexpr operator T() const {  // NOLINT(google-explicit-constructor)
        return static_cast<T>(converted(std::bit_cast<Word>(bytes_)));
    }

  private:
    using Word = std::make_unsigned_t<T>;
    struct Bytes {
        unsigned char at[sizeof(T)];
    };

    static constexpr Word converted(Word word) {
        return order == std::endian::native ? word : reverse_bytes(word);
    }

    Bytes bytes_;
};

using be16 = Ordered<std::uint16_t, std::endian::big>;
using be32 = Ordered<std::uint32_t, std::endian::big>;
using be16s = Ordered<std::int16_t, std::endian::big>;
using be32s = Ordered<std::int32_t, std::endian::big>;
using le16 = Ordered<std::uint16_t, std::endian::little>;
using le32 = Ordered<std::uint32_t, std::endian::little>;
using le32s = Ordered<std::int32_t, std::endian::little>;

static_assert(sizeof(be16) == 2 && alignof(be16) == 1);
static_assert(sizeof(be32) == 4 && alignof(be32) == 1);

}  // namespace trellis
