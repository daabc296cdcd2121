#pragma once

// Cutout pixels taken apart, at either depth.

#include <cstddef>
#include <cstdint>

namespace trellis::convert {

/// Takes cutout pixels apart. The matte is not wanted when it is null; the spare byte of 8-bit
/// colour pixels keeps its value. Works from the first pixel to the last, so `colour` may be
/// `cutout`.
template <class Sample>
void split_cutout(Sample* colour, Sample* matte, const Sample* cutout, std::size_t count);

}  // namespace trellis::convert
