#pragma once

#include <cstdint>

namespace trellis::host {

/// The bytes of memory that this process may have at most: the machine's, or what the container or
/// service that it runs in is allowed.
std::uint64_t memory_limit();

}  // namespace trellis::host
