#pragma once

// The run-length packets of tiles. A packet is a header byte h and
//   h < 128:   a literal, the next h + 1 bytes as they are,
//   h >= 128:  a run, the next byte h - 127 times.

#include <cstddef>
#include <cstdint>
#include <span>

#include "pixels/kernels.h"

namespace trellis::iff {

/// What a packet covers at most, and the size of one that is a run.
inline constexpr std::size_t most_covered = 128;
inline constexpr std::size_t run_packet_size = 2;

/// The bit of a header byte that marks runs.
inline constexpr std::uint8_t run_flag = 128;

using pixels::Decoded;

/// Moves past whole packets for as long as they last and cover no more than `count` bytes.
Decoded skip_runs(std::span<const std::uint8_t> packets, std::uint64_t count);

/// Makes packets of bytes: three and more equal ones become runs, shorter repetitions stay in
/// literals, and the last one or two bytes are always a run. Returns the size of the packets, or 0
/// when there is not enough room for them.
std::size_t encode_runs(std::span<const std::uint8_t> bytes, std::span<std::uint8_t> packets);

}  // namespace trellis::iff
