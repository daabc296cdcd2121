#include "commands.h"

namespace tool {

void convert(const std::string& in, const std::string& out, const host::LoadOptions& load_options,
             const host::SaveOptions& save_options) {
    save_picture(load_picture(in, load_options), out, save_options);
}

}  // namespace tool
