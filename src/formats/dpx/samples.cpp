#include "formats/dpx/samples.h"

#include <algorithm>

#include "trellis/pic_format.h"

#include "pixels/layouts.h"

namespace trellis::dpx {

namespace {

template <int bits>
void scale(std::uint16_t* samples, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] = pixels::scaled<bits>(samples[i]);
    }
}

template <bool big_endian>
std::uint32_t word16(const std::uint8_t* bytes) {
    return big_endian ? bytes[0] * 256U + bytes[1] : bytes[1] * 256U + bytes[0];
}

template <bool big_endian>
std::uint32_t word32(const std::uint8_t* bytes) {
    return big_endian ? word16<true>(bytes) << 16 | word16<true>(bytes + 2)
                      : word16<false>(bytes + 2) << 16 | word16<false>(bytes);
}

// Samples of 16 bits or fewer, each at one end of two bytes.
template <bool big_endian, int bits, int shift>
void unpack_halves(const std::uint8_t* bytes, std::uint64_t /*first*/, std::size_t count,
                   std::uint16_t* samples) {
    constexpr std::uint32_t mask = (1U << bits) - 1;
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] = static_cast<std::uint16_t>(word16<big_endian>(bytes + 2 * i) >> shift & mask);
    }
}

// Three samples in each word, the first one uppermost or lowest; `gap` bits below the lowest.
template <bool big_endian, int gap, bool lowest_first>
void unpack_thirds(const std::uint8_t* bytes, std::uint64_t first, std::size_t count,
                   std::uint16_t* samples) {
    const auto at = [](std::uint32_t word, int place) {
        return static_cast<std::uint16_t>(word >> (10 * (lowest_first ? place : 2 - place) + gap) &
                                          1023);
    };
    int place = static_cast<int>(first % 3);
    std::size_t i = 0;
    for (; place != 0 && i < count; ++i) {  // the rest of a word
        samples[i] = at(word32<big_endian>(bytes), place);
        place = (place + 1) % 3;
        bytes += place == 0 ? 4 : 0;
    }
    for (; i + 3 <= count; i += 3, bytes += 4) {
        const std::uint32_t word = word32<big_endian>(bytes);
        samples[i] = at(word, 0);
        samples[i + 1] = at(word, 1);
        samples[i + 2] = at(word, 2);
    }
    for (; i < count; ++i, ++place) {
        samples[i] = at(word32<big_endian>(bytes), place);
    }
}

// Samples without gaps. One may begin in the upper end of a word and go on in the lower end of the
// next.
template <bool big_endian, int bits>
void unpack_tight(const std::uint8_t* bytes, std::uint64_t first, std::size_t count,
                  std::uint16_t* samples) {
    constexpr std::uint32_t mask = (1U << bits) - 1;
    std::uint32_t place = static_cast<std::uint32_t>(first * bits % 32);
    for (std::size_t i = 0; i < count; ++i) {
        std::uint32_t code = word32<big_endian>(bytes) >> place;
        if (place + bits > 32) {
            code |= word32<big_endian>(bytes + 4) << (32 - place);
        }
        samples[i] = static_cast<std::uint16_t>(code & mask);
        place += bits;
        bytes += place / 32 * 4;
        place %= 32;
    }
}

void unpack_bytes(const std::uint8_t* bytes, std::uint64_t /*first*/, std::size_t count,
                  std::uint16_t* samples) {
    std::copy_n(bytes, count, samples);
}

void unpack_groups(const std::uint8_t* bytes, std::uint64_t first, std::size_t count,
                   std::uint16_t* samples) {
    std::uint64_t place = first % 4;
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t word = word16<true>(bytes + place);
        samples[i] = static_cast<std::uint16_t>(word >> (6 - 2 * place) & 1023);
        place = (place + 1) % 4;
        bytes += place == 0 ? 5 : 0;
    }
}

using Unpack = void (*)(const std::uint8_t*, std::uint64_t, std::size_t, std::uint16_t*);

// Samples come in units of bytes, which are not divided.
struct PackingEntry {
    std::uint32_t unit_samples;
    std::uint32_t unit_bytes;
    Unpack little;
    Unpack big;
};

// In the order of SamplePacking. Our own groups are big-endian in any file.
constexpr PackingEntry packings[] = {
    {1, 1, unpack_bytes, unpack_bytes},
    {1, 2, unpack_halves<false, 16, 0>, unpack_halves<true, 16, 0>},
    {1, 2, unpack_halves<false, 12, 4>, unpack_halves<true, 12, 4>},
    {1, 2, unpack_halves<false, 12, 0>, unpack_halves<true, 12, 0>},
    {3, 4, unpack_thirds<false, 2, false>, unpack_thirds<true, 2, false>},
    {3, 4, unpack_thirds<false, 0, false>, unpack_thirds<true, 0, false>},
    {3, 4, unpack_thirds<false, 2, true>, unpack_thirds<true, 2, true>},
    {3, 4, unpack_thirds<false, 0, true>, unpack_thirds<true, 0, true>},
    {0, 10, unpack_tight<false, 10>, unpack_tight<true, 10>},
    {0, 12, unpack_tight<false, 12>, unpack_tight<true, 12>},
    {4, 5, unpack_groups, unpack_groups},
    {1, 2, unpack_halves<true, 10, 6>, unpack_halves<true, 10, 6>},
};

const PackingEntry& entry_of(SamplePacking packing) {
    return packings[static_cast<std::size_t>(packing)];
}

}  // namespace

SamplePacking packing_of(const trellis_film_info& info) {
    if (info.private_layout != 0) {
        return info.channels == 1 ? SamplePacking::mask10 : SamplePacking::cutout10;
    }
    const bool tight = info.packing == 0;
    const bool bottom = info.format == TRELLIS_TYPE_DPX && info.packing == 2;
    switch (info.bit_size) {
        case 8:
            return SamplePacking::bytes;
        case 10:
            if (!tight && info.channels == 1) {
                return bottom ? SamplePacking::single10_bottom : SamplePacking::single10_top;
            }
            return tight    ? SamplePacking::tight10
                   : bottom ? SamplePacking::words10_bottom
                            : SamplePacking::words10_top;
        case 12:
            return tight    ? SamplePacking::tight12
                   : bottom ? SamplePacking::words12_bottom
                            : SamplePacking::words12_top;
        default:
            return SamplePacking::words16;
    }
}

ByteRange bytes_holding(SamplePacking packing, std::uint64_t first, std::uint64_t count) {
    const PackingEntry& entry = entry_of(packing);
    const std::uint64_t last = first + count;
    if (entry.unit_samples == 0) {  // tight: unit_bytes is the bits of one
        return {first * entry.unit_bytes / 32 * 4, (last * entry.unit_bytes + 31) / 32 * 4};
    }
    return {first / entry.unit_samples * entry.unit_bytes,
            (last + entry.unit_samples - 1) / entry.unit_samples * entry.unit_bytes};
}

std::uint64_t samples_in(SamplePacking packing, std::uint64_t bytes) {
    const PackingEntry& entry = entry_of(packing);
    return entry.unit_samples == 0 ? bytes / 4 * 32 / entry.unit_bytes
                                   : bytes / entry.unit_bytes * entry.unit_samples;
}

void unpack_codes(SamplePacking packing, bool big_endian, const std::uint8_t* bytes,
                  std::uint64_t first, std::size_t count, std::uint16_t* samples) {
    const PackingEntry& entry = entry_of(packing);
    (big_endian ? entry.big : entry.little)(bytes, first, count, samples);
}

void scale_codes(int bits, std::uint16_t* samples, std::size_t count) {
    switch (bits) {
        case 8:
            return scale<8>(samples, count);
        case 10:
            return scale<10>(samples, count);
        case 12:
            return scale<12>(samples, count);
        default:
            return scale<16>(samples, count);
    }
}

}  // namespace trellis::dpx
