#pragma once

// Pictures as the tool loads and saves them: with a progress bar, and from and to the standard
// streams.

#include <unistd.h>

#include <cstdint>
#include <string>
#include <vector>

#include "trellis/view.hpp"

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

/// What a picture's samples are taken for when people look at it: for those of a screen, or for the
/// codes of a film scan.
enum class View { screen, log };

/// A picture that fits into a box, to look at. Throws host::Error.
host::Picture load_view(const Name& name, host::Extent box, const host::LoadOptions& options,
                        View view);

/// Red, green, blue and the matte of every pixel, from the top left on; a mask is grey and opaque.
std::vector<std::uint8_t> rgba_of(const host::Picture& picture);

}  // namespace tool
