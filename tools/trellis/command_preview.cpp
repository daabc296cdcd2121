#include <algorithm>
#include <climits>
#include <filesystem>
#include <fstream>
#include <vector>

#include "trellis/errors.h"
#include "trellis/settings.h"
#include "trellis/sidedata.h"

#include "commands.h"
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

// Of what kind of picture a minipic file was made: the source word of its header. What a read gives
// as the type does not tell images from cutouts.
trellis_kind source_kind(const std::string& path) {
    constexpr std::streamoff source_offset = 16;
    std::ifstream file(minipic_name(path), std::ios::binary);
    file.seekg(source_offset);
    switch (file.get()) {
        case TRELLIS_MINIPIC_IMAGE:
            return TRELLIS_KIND_IMAGE;
        case TRELLIS_MINIPIC_MASK:
            return TRELLIS_KIND_MASK;
        default:
            return TRELLIS_KIND_CUTOUT;
    }
}

// The first byte of a preview pixel is the matte; of an image it is only a grey level.
host::Picture picture_of(const std::vector<std::uint8_t>& pixels, int width, int height,
                         trellis_kind kind) {
    host::Picture picture(kind, width, height);
    for (std::size_t i = 0; i < picture.pixels(); ++i) {
        const std::uint8_t* pixel = &pixels[i * host::Picture::colour_size];
        if (kind != TRELLIS_KIND_IMAGE) {
            picture.matte()[i] = pixel[0];
        }
        if (kind != TRELLIS_KIND_MASK) {
            std::copy_n(pixel, host::Picture::colour_size,
                        picture.colour() + i * host::Picture::colour_size);
        }
    }
    return picture;
}

void make_preview(const std::string& path, bool force) {
    const host::Picture picture = load_picture({path}, {.depth = 8});
    host::SafeFile file(minipic_name(path), force);
    const std::string picture_name = name_of_picture(file.path());
    host::call_library(minipic_name(path), [&] {
        return write_minipic_trellis(picture_name.c_str(), picture.colour(), picture.matte(),
                                     nullptr, picture.width(), 0, 0, picture.width() - 1,
                                     picture.height() - 1, 0, source_of(picture.kind()));
    });
    file.keep();
}

}  // namespace

bool make_previews(const Selection& files, const PreviewSizes& sizes, bool force) {
    if (sizes.first) {
        set_size_1_minipic_trellis(sizes.first->width, sizes.first->height);
    }
    if (sizes.second) {
        set_size_2_minipic_trellis(sizes.second->width, sizes.second->height);
    }
    const std::vector<Frame> frames = some_selected(files);
    // One at a time: the library makes previews in a place that all threads share.
    return run_batch(frames.size(), {.jobs = 1}, [&](std::size_t i) {
        make_preview(frames[i].path, force);
        return Outcome::done;
    });
}

void extract_preview(const std::string& path, const std::string& out,
                     const host::SaveOptions& options) {
    // No preview is larger than its file; without one the library says what is wrong.
    std::error_code no_file;
    const std::uintmax_t size = std::filesystem::file_size(minipic_name(path), no_file);
    const std::size_t capacity = no_file || size > INT_MAX ? 0 : size / host::Picture::colour_size;
    std::vector<std::uint8_t> pixels(capacity * host::Picture::colour_size);
    int width = 0;
    int height = 0;
    int type = 0;
    host::call_library(minipic_name(path), [&] {
        return read_minipic_trellis(path.c_str(), pixels.data(), static_cast<int>(capacity), &width,
                                    &height, &type);
    });
    if (width < 1 || height < 1) {
        throw host::Error(minipic_name(path), TRELLIS_UNSUPPORTED_ERROR);
    }
    save_picture(picture_of(pixels, width, height, source_kind(path)), {out}, options);
}

}  // namespace tool
