#include "pictures.h"

#include "command_line.h"
#include "output.h"
#include "progress_bar.h"

namespace tool {

namespace {

host::Picture load_shown(const std::string& path, const std::string& shown,
                         const host::LoadOptions& options) {
    const ProgressBar bar("loading", shown);
    return host::load(path, options);
}

}  // namespace

host::Picture load_picture(const Name& name, const host::LoadOptions& options) {
    return read_from(name, [&](const std::string& path) {
        host::Picture picture = load_shown(path, name.path, options);
        for (const std::string& warning : picture.warnings()) {
            remark(name.path, warning);
        }
        return picture;
    });
}

void save_picture(const host::Picture& picture, const Name& name,
                  const host::SaveOptions& options) {
    const ProgressBar bar("saving", name.path);
    if (!name.is_stream()) {
        host::save(picture, name.path, options);
        return;
    }
    if (name.format.empty()) {
        throw UsageError("--to must name the format of standard output");
    }
    host::save_to_stream(picture, STDOUT_FILENO, name.format, options);
}

}  // namespace tool
