#pragma once

// The packets of one tile as the stream of bytes that they make, which may be stopped at anywhere.

#include <cstddef>
#include <cstdint>
#include <span>

#include "formats/iff/run_length.h"
#include "frame/error.h"
#include "frame/file.h"

namespace trellis::iff {

class PacketStream {
  public:
    /// The packets are the next `size` bytes of the file.
    PacketStream(InputFile& file, std::uint64_t size) : file_(file), packets_left_(size) {}

    /// Decodes the next bytes, or moves past the next `count` of them. Error::read when the packets
    /// end before.
    Error decode(std::span<std::uint8_t> bytes);
    Error skip(std::uint64_t count);

    /// How many bytes were decoded or skipped, those before a failure included.
    std::uint64_t produced() const { return produced_; }

    /// Whether the last packet has no bytes left over.
    bool at_packet_end() const { return in_packet_ == 0; }

  private:
    // `to` is null where bytes are skipped.
    Error pass(std::uint64_t count, std::uint8_t* to);
    Decoded pass_whole_packets(std::uint64_t count, std::uint8_t* to);
    Decoded pass_in_packet(std::uint64_t count, std::uint8_t* to);
    Error open_packet();

    // The next bytes of the packets, `wanted` or more where they do not end before.
    std::span<const std::uint8_t> window(std::size_t wanted);

    InputFile& file_;
    std::uint64_t packets_left_;  // in bytes
    std::uint64_t produced_ = 0;
    // Of the packet that the last call stopped in.
    std::size_t in_packet_ = 0;
    bool in_run_ = false;
    std::uint8_t run_value_ = 0;
};

}  // namespace trellis::iff
