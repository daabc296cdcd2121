#include <algorithm>
#include <climits>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <vector>

#include "trellis/errors.h"
#include "trellis/sidedata.h"
#include "trellis/view.hpp"

namespace trellis::host {

namespace {

std::string minipic_name(const std::string& path) {
    return path + ".mpc";
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
Picture picture_of(const std::vector<std::uint8_t>& pixels, Extent extent, trellis_kind kind) {
    Picture picture(kind, extent.width, extent.height);
    for (std::size_t i = 0; i < picture.pixels(); ++i) {
        const std::uint8_t* pixel = &pixels[i * Picture::colour_size];
        if (kind != TRELLIS_KIND_IMAGE) {
            picture.matte()[i] = pixel[0];
        }
        if (kind != TRELLIS_KIND_MASK) {
            std::copy_n(pixel, Picture::colour_size, picture.colour() + i * Picture::colour_size);
        }
    }
    return picture;
}

/// A rectangle of an 8-bit picture.
Picture cut_out(const Picture& picture, Region region) {
    const int width = region.x1 - region.x0 + 1;
    Picture part(picture.kind(), width, region.y1 - region.y0 + 1);
    for (int y = 0; y < part.height(); ++y) {
        const std::size_t from =
            std::size_t(region.y0 + y) * std::size_t(picture.width()) + std::size_t(region.x0);
        if (picture.colour() != nullptr) {
            std::memcpy(part.colour_at(0, y), picture.colour() + from * Picture::colour_size,
                        std::size_t(width) * Picture::colour_size);
        }
        if (picture.matte() != nullptr) {
            std::memcpy(part.matte_at(0, y), picture.matte() + from, std::size_t(width));
        }
    }
    return part;
}

/// Where the picture is in its preview: scaled until it fits, and centred on nothing.
Region filled_part(Extent picture, Extent preview) {
    const float scale = std::max(float(picture.width) / float(preview.width),
                                 float(picture.height) / float(preview.height));
    const auto span = [scale](int size, int room) {
        const float scaled_size = float(size) / scale;
        const int first = std::max(0, static_cast<int>((float(room) - scaled_size) * 0.5F));
        const int end = std::min(static_cast<int>(float(first) + scaled_size), room);
        return std::pair(first, std::max(first, end - 1));
    };
    const auto [x0, x1] = span(picture.width, preview.width);
    const auto [y0, y1] = span(picture.height, preview.height);
    return {x0, y0, x1, y1};
}

/// The picture's preview, if there is one that is not older.
std::optional<Picture> current_preview(const std::string& path, Extent picture) try {
    namespace fs = std::filesystem;
    if (fs::last_write_time(minipic_name(path)) < fs::last_write_time(path)) {
        return {};
    }
    const Picture preview = load_preview(path);
    return cut_out(preview, filled_part(picture, {preview.width(), preview.height()}));
} catch (const std::filesystem::filesystem_error&) {
    return {};
} catch (const Error&) {
    return {};
}

/// The catalogue picture of a Cineon file, if it shows the picture. It is made of every n-th column
/// and m-th row, so that of small pictures it shows a corner; and programs that saved 10-bit codes
/// as they were left 16 dark levels in it.
std::optional<Picture> good_catalogue(const std::string& path, Extent picture) try {
    constexpr std::uint8_t greatest_of_codes = 15;
    Picture catalogue = load_catalogue(path);
    const auto covers = [](int size, int samples) {
        return size / samples * samples >= size - size / 10;
    };
    const std::uint8_t* bytes = catalogue.colour();
    const bool dark = std::all_of(bytes, bytes + catalogue.pixels() * Picture::colour_size,
                                  [](std::uint8_t byte) { return byte <= greatest_of_codes; });
    if (dark || !covers(picture.width, catalogue.width()) ||
        !covers(picture.height, catalogue.height())) {
        return {};
    }
    return catalogue;
} catch (const Error&) {
    return {};
}

/// Whether the user data of a Cineon file is a catalogue picture by its size, of 3 or 4 bytes a
/// pixel: other programs keep other things there.
bool has_catalogue(const std::string& path, const Format& format) {
    if (!format.catalogue) {
        return false;
    }
    constexpr std::uint32_t pixels = 96 * 64;
    for (const HeaderSection& section : read_header(path).sections) {
        for (const HeaderField& field : section.fields) {
            const auto* size = std::get_if<std::uint32_t>(&field.value);
            if (field.name == "user data length" && size != nullptr) {
                return *size == pixels * 3 || *size == pixels * 4;
            }
        }
    }
    return false;
}

}  // namespace

Picture load_preview(const std::string& path) {
    // No preview is larger than its file; without one the library says what is wrong.
    std::error_code no_file;
    const std::uintmax_t size = std::filesystem::file_size(minipic_name(path), no_file);
    const std::size_t capacity = no_file || size > INT_MAX ? 0 : size / Picture::colour_size;
    std::vector<std::uint8_t> pixels(capacity * Picture::colour_size);
    int width = 0;
    int height = 0;
    int type = 0;
    call_library(minipic_name(path), [&] {
        return read_minipic_trellis(path.c_str(), pixels.data(), static_cast<int>(capacity), &width,
                                    &height, &type);
    });
    if (width < 1 || height < 1) {
        throw Error(minipic_name(path), TRELLIS_UNSUPPORTED_ERROR);
    }
    return picture_of(pixels, {width, height}, source_kind(path));
}

Picture load_thumbnail(const std::string& path, Extent box) {
    const Description info = describe(path);
    // A small picture of a file is no sign that the file itself can be loaded.
    const bool whole = info.refusal.empty() && info.missing.empty();
    const Extent full = {info.width, info.height};
    const Extent wanted = fitted(full, box);
    std::optional<Picture> stored;
    if (whole) {
        stored = current_preview(path, full);
    }
    if (whole && !stored && has_catalogue(path, *info.format)) {
        stored = good_catalogue(path, full);
    }
    // One that would have to be much larger is no good.
    if (stored && stored->width() >= wanted.width / 2 && stored->height() >= wanted.height / 2) {
        return scaled(*stored, fitted(full, {std::min(wanted.width, stored->width()),
                                             std::min(wanted.height, stored->height())}));
    }
    return load_fitted(path, box, {.depth = 8});
}

}  // namespace trellis::host
