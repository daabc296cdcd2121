#pragma once

#include <string>

namespace trellis::host {

/// Where temporary files go: TMPDIR of the environment, or /tmp.
std::string temporary_directory();

/// "standard input" and its like.
std::string name_of_descriptor(int descriptor);

/// Copies all bytes from one open file to another. Throws Error with the name of the one that
/// failed.
void copy_bytes(int from, const std::string& from_name, int to, const std::string& to_name);

}  // namespace trellis::host
