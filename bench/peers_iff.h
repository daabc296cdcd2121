#pragma once

// OpenImageIO, to stand beside our IFF code. It is linked only with -DTRELLIS_BENCH_PEERS=ON and
// used as any of its callers would.

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

#ifdef TRELLIS_BENCH_PEERS
inline bool has_iff_peer() {
    return true;
}
bool peer_loads_iff(const std::string& file);

/// Saves a picture of the benchmarks' size from red, green, blue and alpha samples, as run-length
/// code.
bool peer_saves_iff(const std::string& file, const std::vector<std::uint8_t>& samples);
#else
inline bool has_iff_peer() {
    return false;
}
inline bool peer_loads_iff(const std::string& /*file*/) {
    return false;
}
inline bool peer_saves_iff(const std::string& /*file*/,
                           const std::vector<std::uint8_t>& /*samples*/) {
    return false;
}
#endif

}  // namespace bench
