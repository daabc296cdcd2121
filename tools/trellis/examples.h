#pragma once

// What each command's help ends with: command lines that people can try as they are. A test runs
// all of them.

#include <string>

namespace tool {

/// "" for a command without examples.
std::string examples_of(const std::string& command);

}  // namespace tool
