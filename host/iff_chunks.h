#pragma once

// The chunks of an IFF file as a tree.

#include <vector>

#include "trellis/host.hpp"

#include "bytes_of_file.h"

namespace trellis::host {

/// All chunks of a file. Ends where the file does, whatever sizes it claims, and after 100,000
/// chunks. Throws Error when the file cannot be read.
std::vector<HeaderChunk> iff_chunks(BytesOfFile& file);

}  // namespace trellis::host
