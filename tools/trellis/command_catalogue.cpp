#include "commands.h"

namespace tool {

void extract_catalogue(const Name& file, const Name& out, const host::SaveOptions& options) {
    save_picture(
        read_from(file, [](const std::string& path) { return host::load_catalogue(path); }), out,
        options);
}

}  // namespace tool
