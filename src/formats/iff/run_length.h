#pragma once

// The run-length code of tiles. A packet is a header byte h and
//   h < 128:   a literal, the next h + 1 bytes as they are,
//   h >= 128:  a run, the next byte h - 127 times.

#include <cstddef>
#include <cstdint>
#include <span>

namespace trellis::iff {

/// What a packet covers at most, and the size of one that is a run.
inline constexpr std::size_t most_covered = 128;
inline constexpr std::size_t run_packet_size = 2;

/// The bit of a header byte that sets runs apart.
inline constexpr std::uint8_t run_flag = 128;

/// How far a decoding came.
struct Decoded {
    std::size_t read;     // of the code
    std::size_t written;  // of the bytes
};

/// Decodes whole packets for as long as the code and the room for bytes last. It stops before a
/// packet that is cut short or has more bytes than there is room for. What `bytes` held behind the
/// written ones is lost.
Decoded decode_runs(std::span<const std::uint8_t> code, std::span<std::uint8_t> bytes);

/// Moves past whole packets for as long as the code lasts and they cover no more than `count`
/// bytes.
Decoded skip_runs(std::span<const std::uint8_t> code, std::uint64_t count);

/// Codes bytes: three and more equal ones become runs, shorter repetitions stay in literals, and
/// the last one or two bytes are always a run. Returns the size of the code, or 0 when there is not
/// enough room for it.
std::size_t encode_runs(std::span<const std::uint8_t> bytes, std::span<std::uint8_t> code);

}  // namespace trellis::iff
