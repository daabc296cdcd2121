#pragma once

// Files and what is made of each.

#include <string>
#include <vector>

#include "sequences.h"

namespace tool {

struct Pair {
    std::string in;
    std::string out;
};

/// Two names; or, if `in` is a pattern, each of its frames and that of `out` with the same number.
/// Frames that are missing between others are worth a remark, unless `frames` says which are meant.
/// Throws UsageError and host::Error.
std::vector<Pair> pairs_between(const std::string& in, const std::string& out,
                                const std::string& frames);

/// Each file, and one of its name with another extension in a directory. Throws UsageError and
/// host::Error.
std::vector<Pair> pairs_into(const std::string& directory, const std::string& extension,
                             const Selection& files);

/// Of many pairs, throws UsageError when a file would be written over another that is read or
/// written. One picture may take its own place.
void check_targets(const std::vector<Pair>& pairs);

}  // namespace tool
