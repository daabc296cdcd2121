#pragma once

#include <string>

#include "trellis/pic_format.h"

namespace trellis::host {

/// Film headers keep the path that a file was saved under. Where a header has `saved_as`, the file
/// name of `target` takes its place. Throws Error, about the target.
void replace_stored_path(const char* saved_as, const pic_format& format, const std::string& target);

}  // namespace trellis::host
