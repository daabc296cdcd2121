#include "pictures.h"

#include "progress_bar.h"

namespace tool {

host::Picture load_picture(const std::string& path, const host::LoadOptions& options) {
    const ProgressBar bar("loading", path);
    return host::load(path, options);
}

void save_picture(const host::Picture& picture, const std::string& path,
                  const host::SaveOptions& options) {
    const ProgressBar bar("saving", path);
    host::save(picture, path, options);
}

}  // namespace tool
