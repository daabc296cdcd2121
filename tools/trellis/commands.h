#pragma once

// The tool's commands. Each returns when its work is done and throws FileError when it cannot be.

#include <optional>
#include <string>
#include <vector>

#include "picture_io.h"

namespace tool {

/// Prints what is in each file. Files that cannot be read are reported on standard error; the
/// result is false when there was one.
bool info(const std::vector<std::string>& files, bool json);

void convert(const std::string& in, const std::string& out, const LoadOptions& load,
             const SaveOptions& save);

/// Draws the test chart as a cutout.
void chart(const std::string& out, int width, int height, const SaveOptions& save);

/// Prints what each format can do.
void list_formats(bool json);

/// Prints what makes two pictures different, nothing when nothing does; true when they are the
/// same.
bool compare(const std::string& a, const std::string& b, const LoadOptions& load);

}  // namespace tool
