#pragma once

// The chunks of an IFF file as a tree.

#include <nlohmann/json_fwd.hpp>

#include <string>

namespace tool {

/// A list of chunks, each with its tag, offset and size; forms have their type and the chunks in
/// them, a TBHD chunk its fields. Ends where the file does, whatever sizes it claims, and after
/// 100,000 chunks. Throws host::Error when the file cannot be read.
nlohmann::ordered_json iff_tree(const std::string& path);

}  // namespace tool
