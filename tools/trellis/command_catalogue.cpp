#include "commands.h"

namespace tool {

void extract_catalogue(const std::string& path, const std::string& out,
                       const host::SaveOptions& options) {
    save_picture(host::load_catalogue(path), out, options);
}

}  // namespace tool
