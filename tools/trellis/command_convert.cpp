#include "commands.h"

namespace tool {

void convert(const std::string& in, const std::string& out, const LoadOptions& load,
             const SaveOptions& save) {
    save_picture(load_picture(in, load), out, save);
}

}  // namespace tool
