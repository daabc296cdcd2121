#pragma once

// How the tool says what went wrong.

#include <exception>

namespace tool {

/// Prints an error on standard error, in one line: "trellis: FILE: message (code N)".
void report(const std::exception& error);

}  // namespace tool
