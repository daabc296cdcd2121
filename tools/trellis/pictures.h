#pragma once

// Pictures as the tool loads and saves them: with a progress bar.

#include <string>

#include "trellis/host.hpp"

namespace tool {

namespace host = trellis::host;

/// Both throw host::Error.
host::Picture load_picture(const std::string& path, const host::LoadOptions& options);
void save_picture(const host::Picture& picture, const std::string& path,
                  const host::SaveOptions& options);

}  // namespace tool
