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

/// The same for fields that a person chose: throws Error too, with the file then spoilt, when they
/// are not in the header or when the pixels would then be read otherwise.
void edit_fields(const std::string& path, const std::string& name,
                 std::span<const FieldEdit> edits);

}  // namespace trellis::host
