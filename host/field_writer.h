#pragma once

// Fields of film headers, written into files.

#include <cstddef>
#include <optional>
#include <span>
#include <string>

#include "trellis/header_edit.hpp"
#include "trellis/host.hpp"

namespace trellis::host {

/// Writes fields straight into a file; `name` is what errors call it. Throws Error.
void write_fields(const std::string& path, const std::string& name,
                  std::span<const FieldEdit> edits);

}  // namespace trellis::host
