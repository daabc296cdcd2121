#pragma once

// Pictures one after the other without headers, as `ffmpeg -f rawvideo` takes them.

#include <string>
#include <vector>

#include "trellis/host.hpp"

#include "batch.h"
#include "sequences.h"

namespace tool {

/// The names of pixel formats, those of FFmpeg.
std::vector<std::string> raw_formats();

/// Writes pictures of one size to standard output, in order. False when one could not be loaded:
/// the stream ends before it, for what follows would be taken for another frame.
bool write_raw_video(const std::vector<Frame>& frames, const std::string& format,
                     const host::LoadOptions& load, const BatchOptions& batch);

}  // namespace tool
