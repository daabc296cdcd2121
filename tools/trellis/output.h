#pragma once

// What the tool says: results on standard output, errors and remarks on standard error, one line
// each.

#include <nlohmann/json_fwd.hpp>

#include <stdexcept>
#include <string>
#include <string_view>

#include "trellis/host.hpp"

namespace tool {

namespace host = trellis::host;

using Json = nlohmann::ordered_json;

/// Text that stays on its line and leaves a terminal as it is: control characters as \n, \t or
/// \x1B. File names may hold any.
std::string printable(std::string_view text);

/// Standard output took no more.
class OutputError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// printf to standard output. Throws OutputError.
[[gnu::format(printf, 1, 2)]] void print(const char* format, ...);

/// Prints a value in lines of its own. Bytes that are no text are replaced. Throws OutputError.
void print_json(const Json& value);

/// Likewise, in one line.
void print_json_line(const Json& value);

/// An array that is printed an element at a time, because reels are long.
class JsonList {
  public:
    void add(const Json& element);
    void finish();

  private:
    bool empty_ = true;
};

/// What is still to be printed. Throws OutputError, also when something before failed.
void finish_output();

/// A real with no more digits than tell it from its neighbours.
Json json_of(float value);

/// "trellis: FILE: MESSAGE (code N)"
void report(const host::Error& error) noexcept;

/// "trellis: MESSAGE"
void report(std::string_view message) noexcept;

/// For a program that ran out of memory: "trellis: MESSAGE (code 3)".
void report_no_memory() noexcept;

/// A remark about a file, with which all is well: "trellis: FILE: REMARK".
void remark(const std::string& file, const std::string& text);

}  // namespace tool
