#include <string>
#include <vector>

#include "trellis/settings.h"
#include "trellis/sidedata.h"

#include "command_line.h"
#include "commands.h"
#include "pairs.h"
#include "pictures.h"
#include "side_files.h"

namespace tool {

namespace {

trellis_minipic_source source_of(trellis_kind kind) {
    switch (kind) {
        case TRELLIS_KIND_CUTOUT:
            return TRELLIS_MINIPIC_CUTOUT;
        case TRELLIS_KIND_MASK:
            return TRELLIS_MINIPIC_MASK;
        default:
            return TRELLIS_MINIPIC_IMAGE;
    }
}

void make_preview(const std::string& path, host::LoadOptions options, bool force) {
    options.depth = 8;
    const host::Picture picture = load_picture({path}, options);
    host::SafeFile file(minipic_name(path), force);
    const std::string picture_name = name_of_picture(file.path());
    host::call_library(minipic_name(path), [&] {
        return write_minipic_trellis(picture_name.c_str(), picture.colour(), picture.matte(),
                                     nullptr, picture.width(), 0, 0, picture.width() - 1,
                                     picture.height() - 1, 0, source_of(picture.kind()));
    });
    file.keep();
}

void extract_preview(const std::string& path, const std::string& out,
                     const host::SaveOptions& options) {
    save_picture(host::load_preview(path), {out}, options);
}

}  // namespace

bool make_previews(const Selection& files, const PreviewSizes& sizes,
                   const host::LoadOptions& options, bool force) {
    if (sizes.first) {
        set_size_1_minipic_trellis(sizes.first->width, sizes.first->height);
    }
    if (sizes.second) {
        set_size_2_minipic_trellis(sizes.second->width, sizes.second->height);
    }
    const std::vector<Frame> frames = some_selected(files);
    // One at a time: the library makes previews in a place that all threads share.
    return run_batch(frames.size(), {.jobs = 1}, [&](std::size_t i) {
        make_preview(frames[i].path, options, force);
        return Outcome::done;
    });
}

bool extract_previews(const Selection& files, const std::string& out,
                      const host::SaveOptions& options) {
    if (files.names.size() != 1 || !files.list.empty()) {
        throw UsageError("--png takes one FILE or pattern");
    }
    const std::vector<Pair> pairs = pairs_between(files.names[0], out, files.frames);
    check_targets(pairs);
    return run_batch(pairs.size(), {}, [&](std::size_t i) {
        extract_preview(pairs[i].in, pairs[i].out, options);
        return Outcome::done;
    });
}

}  // namespace tool
