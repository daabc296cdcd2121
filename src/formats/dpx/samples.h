#pragma once

// Samples of any packing, scaled to the range of 16-bit buffers.

#include <cstddef>
#include <cstdint>

#include "trellis/film.h"

namespace trellis::dpx {

/// How the samples of a line are packed.
enum class SamplePacking : std::uint8_t {
    bytes,        // 8 bits
    words16,      // 16 bits
    words12_top,  // 12 bits in the upper end of 16
    words12_bottom,
    words10_top,  // three of 10 bits in the upper end of 32
    words10_bottom,
    single10_top,  // the same, but the first sample lowest: so are the words of a lone channel
    single10_bottom,
    tight10,  // without gaps, from the lowest bit of each word of 32 bits on
    tight12,
    cutout10,  // this library's own groups of four in 40 bits
    mask10,    // and of one in 16
};

/// The packing of a file that has been described and can be loaded.
SamplePacking packing_of(const trellis_film_info& info);

/// The bytes that hold the samples first to first + count of a line.
struct ByteRange {
    std::uint64_t begin;
    std::uint64_t end;
};
ByteRange bytes_holding(SamplePacking packing, std::uint64_t first, std::uint64_t count);

/// How many samples of a line its first `bytes` bytes hold.
std::uint64_t samples_in(SamplePacking packing, std::uint64_t bytes);

/// Unpacks the samples first to first + count as the codes that they are. `bytes` is where
/// bytes_holding() begins.
void unpack_codes(SamplePacking packing, bool big_endian, const std::uint8_t* bytes,
                  std::uint64_t first, std::size_t count, std::uint16_t* samples);

/// Scales codes of 8, 10, 12 or 16 bits to 0..16383, rounded to nearest.
void scale_codes(int bits, std::uint16_t* samples, std::size_t count);

}  // namespace trellis::dpx
