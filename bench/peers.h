#pragma once

// Other programs' libraries, to stand beside ours in the tables. They are linked only with
// -DTRELLIS_BENCH_PEERS=ON, each in a file of its own, and used as any of their callers would.

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

struct Peer {
    std::string name;

    /// Decodes the file into memory that the peer keeps for this; false when it cannot. `format` is
    /// a file-name extension.
    bool (*load)(const std::string& file, const std::string& format);

    /// Saves a width × height picture of three 16-bit channels with ten significant bits, or null.
    bool (*save)(const std::string& file, const std::vector<std::uint16_t>& samples);
};

Peer openimageio();
Peer graphicsmagick();
Peer ffmpeg();

/// The peers of this build.
inline std::vector<Peer> peers() {
#ifdef TRELLIS_BENCH_PEERS
    return {openimageio(), graphicsmagick(), ffmpeg()};
#else
    return {};
#endif
}

}  // namespace bench
