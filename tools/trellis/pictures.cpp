#include "pictures.h"

#include "command_line.h"
#include "output.h"
#include "progress_bar.h"

namespace tool {

namespace {

/// What `load` makes of the path of a file, while a bar shows how far it is.
template <class Load>
host::Picture load_shown(const Name& name, Load load) {
    const auto load_with_bar = [&](const std::string& path) {
        const ProgressBar bar("loading", name.path);
        return load(path);
    };
    host::Picture picture = read_from(name, load_with_bar);
    for (const std::string& warning : picture.warnings()) {
        remark(name.path, warning);
    }
    return picture;
}

}  // namespace

host::Picture load_picture(const Name& name, const host::LoadOptions& options) {
    return load_shown(name, [&](const std::string& path) { return host::load(path, options); });
}

host::Picture load_view(const Name& name, host::Extent box, const host::LoadOptions& options,
                        View view) {
    host::Picture picture = load_shown(
        name, [&](const std::string& path) { return host::load_fitted(path, box, options); });
    if (view == View::log) {
        host::view_log(picture);
    }
    return picture;
}

std::vector<std::uint8_t> rgba_of(const host::Picture& picture) {
    const auto width = static_cast<std::size_t>(picture.width());
    const auto size = static_cast<std::size_t>(host::samples_of_row(picture));
    std::vector<std::uint8_t> row(width * size);
    std::vector<std::uint8_t> rgba;
    rgba.reserve(width * static_cast<std::size_t>(picture.height()) * 4);
    for (int y = 0; y < picture.height(); ++y) {
        host::get_row(picture, y, row.data());
        for (const std::uint8_t* pixel = row.data(); pixel != row.data() + row.size();
             pixel += size) {
            const std::uint8_t matte = size == 4 ? pixel[3] : 255;
            const std::size_t last = size == 1 ? 0 : 2;
            rgba.insert(rgba.end(), {pixel[0], pixel[last / 2], pixel[last], matte});
        }
    }
    return rgba;
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
