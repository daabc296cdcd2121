#pragma once

// What went wrong with a file, as the tool carries it from where it happens to where it is told.

#include <exception>
#include <string>

namespace tool {

class FileError : public std::exception {
  public:
    /// `code` is one of the library's; `explanation` follows the library's message for it.
    FileError(std::string path, int code, const std::string& explanation = {});

    const char* what() const noexcept override { return line_.c_str(); }

  private:
    std::string line_;
};

/// Tells an error on standard error, in one line: "trellis: FILE: message (code N)".
void report(const std::exception& error);

}  // namespace tool
