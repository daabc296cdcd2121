#pragma once

// The tool's commands. Each returns when its work is done; it throws host::Error when it cannot be,
// and UsageError when the words that it was given make no sense.

#include <optional>
#include <string>
#include <vector>

#include "batch.h"
#include "pictures.h"
#include "sequences.h"
#include "terminal.h"

namespace tool {

struct Size {
    int width;
    int height;
};

/// Prints what is in each file. Files that cannot be read are reported on standard error; the
/// result is false when there was one.
bool info(const Selection& files, const std::string& from, bool json);

/// What a conversion does to the colours of a cutout.
enum class MatteChange { none, premultiply, unpremultiply };

struct ConvertOptions {
    host::LoadOptions load = {};
    MatteChange matte_change = MatteChange::none;
    host::SaveOptions save = {};
    bool new_header = false;  // of film files; else what the source's says is kept
    bool resume = false;      // leave targets that are whole and newer than their sources
};

/// Where the pictures of a conversion come from and go to: two names or patterns, or any files and
/// a directory for what becomes of them.
struct ConvertFiles {
    Selection in;  // two names, the second of them that of the target, without a directory
    std::string directory;
    std::string from;  // formats of standard input and output
    std::string to;    // also the extension in the directory
};

/// False when a picture could not be converted.
bool convert(const ConvertFiles& files, const ConvertOptions& options, const BatchOptions& batch);

/// Reads every file completely and prints what is wrong with it, a line a finding. False when there
/// is any.
bool check(const Selection& files, bool json, const BatchOptions& batch);

/// Prints a manifest: a checksum of the pixels of each file. False when one could not be loaded.
bool print_checksums(const Selection& files, const BatchOptions& batch);

/// Prints what is not as a manifest has it: its own files, or others with the same numbers.
bool verify_checksums(const std::string& manifest, const Selection& files,
                      const BatchOptions& batch);

/// Draws the test chart as a cutout.
void chart(const Name& out, Size size, const host::SaveOptions& save);

/// Prints what each format can do.
void list_formats(bool json);

/// Of two patterns, the frames with the same numbers are compared.
struct ComparedFrames {
    std::string frames;  // of patterns; empty for those on disk
    BatchOptions batch;
};

/// Prints what makes two pictures, or reels, different, nothing when nothing does; true when they
/// are the same. Samples that differ by at most `tolerance` are.
bool compare(const Name& a, const Name& b, const ComparedFrames& which,
             const host::LoadOptions& load, int tolerance);

/// Prints the fields of headers, or the chunks of IFF files. False when one could not be read.
bool show_headers(const Selection& files, const std::string& from, bool json);

struct HeaderEdits {
    std::vector<std::string> assignments;  // "field=value"
    std::string time_code;                 // of the first frame; the others count up from it
    int rate = 0;                          // frames a second

    bool empty() const { return assignments.empty() && time_code.empty(); }
};

/// Changes fields of DPX and Cineon headers. False when one could not be changed.
bool edit_headers(const Selection& files, const HeaderEdits& edits, const BatchOptions& batch);

/// Saves the small picture that is inside a file.
void extract_catalogue(const Name& file, const Name& out, const host::SaveOptions& save);

/// What is not given is the library's default.
struct PreviewSizes {
    std::optional<Size> first;
    std::optional<Size> second;
};

/// Makes the minipic files beside pictures, or saves the first preview in one as a picture. False
/// when one could not be made.
bool make_previews(const Selection& files, const PreviewSizes& sizes, bool force);
void extract_preview(const std::string& path, const std::string& out,
                     const host::SaveOptions& save);

/// Saves a picture to stand for a file, at most `size` pixels wide and high, as PNG.
void thumbnail(const std::string& path, const std::string& out, int size);

struct ShowOptions {
    host::LoadOptions load = {};
    View view = View::screen;
    std::optional<Medium> medium = {};       // the best that the terminal is known to take
    std::optional<host::Extent> cells = {};  // the size of the terminal
};

/// Draws a picture where the words of the command are.
void show(const Name& file, const ShowOptions& options);

/// Prints the cutout information beside a picture.
void show_cinfo(const std::string& path, bool json);

/// Changes or makes it by assignments, "name=value".
void change_cinfo(const std::string& path, const std::vector<std::string>& assignments);

/// Gives a picture the cutout information of another.
void copy_cinfo(const std::string& in, const std::string& out, bool force);

}  // namespace tool
