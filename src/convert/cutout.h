#pragma once

// Colour and matte apart, and together in cutout pixels. All functions are there for 8-bit and for
// 16-bit samples.

#include <cstddef>
#include <cstdint>

namespace trellis::convert {

/// Builds cutout pixels. A null matte stands for an opaque one. Works from the last pixel to the
/// first, so `cutout` may be `colour`: cutout pixels are never shorter than colour pixels.
template <class Sample>
void join_cutout(const Sample* colour, const Sample* matte, Sample* cutout, std::size_t count);

/// Takes cutout pixels apart. The matte is not wanted when it is null; the spare byte of 8-bit
/// colour pixels keeps its value. Works from the first pixel to the last, so `colour` may be
/// `cutout`.
template <class Sample>
void split_cutout(Sample* colour, Sample* matte, const Sample* cutout, std::size_t count);

/// Sets the mattes of cutout pixels, or copies them out.
template <class Sample>
void insert_matte(const Sample* matte, Sample* cutout, std::size_t count);
template <class Sample>
void extract_matte(const Sample* cutout, Sample* matte, std::size_t count);

}  // namespace trellis::convert
