#pragma once

// From the words of the command line to what is to be done.

#include <functional>
#include <stdexcept>

namespace tool {

/// Words that make no sense, in one line.
class UsageError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The work that a command line asks for; false when it ends without an error and yet not well,
/// such as a comparison of different pictures.
using Action = std::function<bool()>;

/// Throws UsageError. Prints help and the version by itself, after which there is nothing to do.
Action parse_command_line(int argc, char** argv);

}  // namespace tool
