#pragma once

// From names, patterns and lists to the files of a command.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "trellis/sequence.hpp"

namespace tool {

namespace host = trellis::host;

/// The words of a command line that say which files are meant.
struct Selection {
    std::vector<std::string> names;  // files and patterns
    std::string frames;              // of patterns: "1001-1100x2"; empty for those on disk
    std::string list;                // a file with names, or "-"
    bool zero = false;               // names in the list end with a zero byte
};

struct Frame {
    std::string path;
    std::optional<std::int64_t> number = {};  // of a pattern's frame
};

/// A pattern, unless there is a file of exactly this name.
std::optional<host::Pattern> pattern_of(const std::string& name);

/// The frames of a pattern: those of `frames`, or those on disk. Throws UsageError when `frames` is
/// no list, and host::Error when there are none.
std::vector<std::int64_t> frames_of(const host::Pattern& pattern, const std::string& frames);

/// Every file that is meant, in order. Throws UsageError and host::Error.
std::vector<Frame> selected(const Selection& selection);

/// Likewise; that there are none is a UsageError.
std::vector<Frame> some_selected(const Selection& selection);

/// A list of frames as people write it: "1001-1004,1006".
std::string frames_text(const std::vector<std::int64_t>& frames);

/// The number in a file's name: its last digits before the extension.
std::optional<std::int64_t> number_in(const std::string& path);

/// A name with those digits taken out, the same for all frames of a reel.
std::string name_without_number(const std::string& path);

}  // namespace tool
