#pragma once

// Pictures as the tool loads and saves them: with a progress bar, and from and to the standard
// streams.

#include <unistd.h>

#include <string>

#include "trellis/host.hpp"

namespace tool {

namespace host = trellis::host;

/// A file as the command line has it: "-" is standard input or output, of the format with the
/// extension `format`.
struct Name {
    std::string path;
    std::string format = {};

    bool is_stream() const { return path == "-"; }
};

/// Calls `work` with the path of a file to read: of standard input there is a copy for as long.
/// Returns what `work` does.
template <class Work>
auto read_from(const Name& name, Work work) {
    if (!name.is_stream()) {
        return work(name.path);
    }
    const host::StreamCopy copy(STDIN_FILENO, name.format);
    try {
        return work(copy.path());
    } catch (const host::Error& error) {
        const bool of_copy = error.file() == copy.path();
        throw host::Error(of_copy ? "standard input" : error.file(), error.code(), error.reason());
    }
}

/// Both throw host::Error.
host::Picture load_picture(const Name& name, const host::LoadOptions& options);
void save_picture(const host::Picture& picture, const Name& name, const host::SaveOptions& options);

}  // namespace tool
