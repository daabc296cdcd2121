#pragma once

// The tool's commands. Each returns when its work is done and throws host::Error when it cannot be.

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "pictures.h"

namespace tool {

/// Prints what is in each file. Files that cannot be read are reported on standard error; the
/// result is false when there was one.
bool info(const std::vector<std::string>& files, bool json);

void convert(const std::string& in, const std::string& out, const host::LoadOptions& load,
             const host::SaveOptions& save);

/// Draws the test chart as a cutout.
void chart(const std::string& out, int width, int height, const host::SaveOptions& save);

/// Prints what each format can do.
void list_formats(bool json);

/// Prints what makes two pictures different, nothing when nothing does; true when they are the
/// same.
bool compare(const std::string& a, const std::string& b, const host::LoadOptions& load);

/// Prints the fields of a header, or the chunks of an IFF file.
void show_header(const std::string& path, bool json);

/// Saves the small picture that is inside a file.
void extract_catalogue(const std::string& path, const std::string& out,
                       const host::SaveOptions& save);

/// Width and height of the two previews; what is not given is the library's default.
struct PreviewSizes {
    std::optional<std::pair<int, int>> first;
    std::optional<std::pair<int, int>> second;
};

/// Makes the minipic file beside a picture, or saves the first preview in it as a picture.
void make_preview(const std::string& path, const PreviewSizes& sizes, bool force);
void extract_preview(const std::string& path, const std::string& out,
                     const host::SaveOptions& save);

/// Prints the cutout information beside a picture.
void show_cinfo(const std::string& path, bool json);

/// Changes or makes it by assignments, "name=value". Returns the first one that makes no sense, in
/// which case nothing is written, else an empty text.
std::string change_cinfo(const std::string& path, const std::vector<std::string>& assignments);

}  // namespace tool
