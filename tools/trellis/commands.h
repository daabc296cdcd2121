#pragma once

// The tool's commands. Each returns when its work is done; it throws host::Error when it cannot be,
// and UsageError when the words that it was given make no sense.

#include <optional>
#include <string>
#include <vector>

#include "pictures.h"

namespace tool {

struct Size {
    int width;
    int height;
};

/// Prints what is in each file. Files that cannot be read are reported on standard error; the
/// result is false when there was one.
bool info(const std::vector<std::string>& files, const std::string& from, bool json);

/// What a conversion does to the colours of a cutout.
enum class MatteChange { none, premultiply, unpremultiply };

void convert(const Name& in, const Name& out, const host::LoadOptions& load,
             MatteChange matte_change, const host::SaveOptions& save);

/// Draws the test chart as a cutout.
void chart(const Name& out, Size size, const host::SaveOptions& save);

/// Prints what each format can do.
void list_formats(bool json);

/// Prints what makes two pictures different, nothing when nothing does; true when they are the
/// same. Samples that differ by at most `tolerance` are.
bool compare(const Name& a, const Name& b, const host::LoadOptions& load, int tolerance);

/// Prints the fields of a header, or the chunks of an IFF file.
void show_header(const Name& file, bool json);

/// Saves the small picture that is inside a file.
void extract_catalogue(const Name& file, const Name& out, const host::SaveOptions& save);

/// What is not given is the library's default.
struct PreviewSizes {
    std::optional<Size> first;
    std::optional<Size> second;
};

/// Makes the minipic file beside a picture, or saves the first preview in it as a picture.
void make_preview(const std::string& path, const PreviewSizes& sizes, bool force);
void extract_preview(const std::string& path, const std::string& out,
                     const host::SaveOptions& save);

/// Prints the cutout information beside a picture.
void show_cinfo(const std::string& path, bool json);

/// Changes or makes it by assignments, "name=value".
void change_cinfo(const std::string& path, const std::vector<std::string>& assignments);

/// Gives a picture the cutout information of another.
void copy_cinfo(const std::string& in, const std::string& out, bool force);

}  // namespace tool
