#pragma once

/// Changing fields of DPX and Cineon headers.

#include <span>
#include <string>

#include "trellis/host.hpp"

namespace trellis::host {

/// Writes fields of a file's header, all of them or none: in a copy beside the file, which then
/// takes its place. Every other byte stays. Throws Error, also for fields that the header does not
/// have, for values that do not fit, and when the pixels would then be read otherwise.
void edit_header(const std::string& path, std::span<const FieldEdit> edits);

}  // namespace trellis::host
