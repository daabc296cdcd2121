#pragma once

// The run-length code of one tile as a stream of bytes, which may be stopped at anywhere.

#include <cstddef>
#include <cstdint>
#include <span>

#include "formats/iff/run_length.h"
#include "frame/error.h"
#include "frame/file.h"

namespace trellis::iff {

class TileCode {
  public:
    /// The code is the next `size` bytes of the file.
    TileCode(InputFile& file, std::uint64_t size) : file_(file), code_left_(size) {}

    /// Decodes the next bytes, or moves past the next `count` of them. Error::read when the code
    /// ends before.
    Error decode(std::span<std::uint8_t> bytes);
    Error skip(std::uint64_t count);

    /// Whether the last packet has no bytes left over.
    bool at_packet_end() const { return packet_left_ == 0; }

  private:
    // `to` is null where bytes are skipped.
    Error pass(std::uint64_t count, std::uint8_t* to);
    Decoded pass_whole_packets(std::uint64_t count, std::uint8_t* to);
    Decoded pass_in_packet(std::uint64_t count, std::uint8_t* to);
    Error open_packet();

    // The next bytes of the code, `wanted` or more where it does not end before.
    std::span<const std::uint8_t> window(std::size_t wanted);

    InputFile& file_;
    std::uint64_t code_left_;
    // Of the packet that the last call stopped in.
    std::size_t packet_left_ = 0;
    bool in_run_ = false;
    std::uint8_t run_value_ = 0;
};

}  // namespace trellis::iff
