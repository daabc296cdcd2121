#include "formats.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <iterator>

#include "trellis/errors.h"

#include "bytes_of_file.h"
#include "film_slots.h"
#include "png_file.h"

namespace trellis::host {

namespace {

// As many bytes as the most demanding probe asks for.
constexpr std::size_t probe_size = 594;

constexpr std::array init_functions = {init_pixar_pic_, init_scaled_dpx_pic, init_scaled_cineon_pic,
                                       init_maya_pic_,  init_png_pic,        init_deep_png_pic};

std::array<pic_format, init_functions.size()> filled_descriptors() {
    std::array<pic_format, init_functions.size()> descriptors{};
    for (std::size_t i = 0; i < descriptors.size(); ++i) {
        init_functions[i](&descriptors[i]);
    }
    return descriptors;
}

std::vector<std::string> extensions(const pic_format& format) {
    std::vector<std::string> result;
    for (const char* extension : {format.ext, format.ext2, format.ext3}) {
        if (*extension != '\0' &&
            std::find(result.begin(), result.end(), extension) == result.end()) {
            result.emplace_back(extension);
        }
    }
    return result;
}

Format described_format(const pic_format& format) {
    return {.code = format.code_string,
            .name = format.long_name,
            .extensions = extensions(format),
            .depth = native_depth(format),
            .image = {format.load_pic_fn != nullptr, format.save_pic_fn != nullptr},
            .cutout = {format.load_cut_fn != nullptr, format.save_cut_fn != nullptr},
            .mask = {format.load_mask_fn != nullptr, format.save_mask_fn != nullptr},
            // The slot of DPX only ever answers that there is none.
            .catalogue = format.load_cat_fn != nullptr && format.type != TRELLIS_TYPE_DPX};
}

const pic_format* probed_format(const std::string& path, std::string head) {
    for (const pic_format& format : descriptors()) {
        unsigned int kind = 0;
        unsigned int is_this_format = 0;  // probes leave it alone when the magic is another's
        if (format.inq_type_fn != nullptr &&
            format.inq_type_fn(head.data(), static_cast<int>(head.size()), path.c_str(), 0, &kind,
                               &is_this_format) == 0 &&
            is_this_format == 1) {
            return &format;
        }
    }
    return nullptr;
}

const pic_format* named_format(const std::string& path, int depth) {
    const pic_format* found = nullptr;
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    for (const pic_format& format : descriptors()) {
        for (const std::string& known : format_of(format).extensions) {
            if (extension == "." + known && (found == nullptr || native_depth(format) == depth)) {
                found = &format;
            }
        }
    }
    return found;
}

}  // namespace

std::span<const pic_format> descriptors() {
    static const std::array filled = filled_descriptors();
    return filled;
}

std::span<const Format> formats() {
    static const std::vector<Format> described = [] {
        std::vector<Format> list;
        std::transform(descriptors().begin(), descriptors().end(), std::back_inserter(list),
                       described_format);
        return list;
    }();
    return described;
}

const Format& format_for_name(const std::string& path, int depth) {
    return format_of(descriptor_for_name(path, depth));
}

const Format& format_of(const pic_format& descriptor) {
    return formats()[static_cast<std::size_t>(&descriptor - descriptors().data())];
}

const pic_format& descriptor_of_file(const std::string& path) {
    // Not every good file passes its probe: that of Pixar doubts pictures wider than 9999 pixels.
    const pic_format* format = probed_format(path, BytesOfFile(path).at(0, probe_size));
    if (format == nullptr) {
        format = named_format(path, 8);
    }
    if (format == nullptr) {
        throw Error(path, TRELLIS_UNSUPPORTED_ERROR);
    }
    return *format;
}

const pic_format& descriptor_for_name(const std::string& path, int depth) {
    const pic_format* format = named_format(path, depth);
    if (format == nullptr) {
        throw Error(path, TRELLIS_UNSUPPORTED_ERROR, "no format has this extension");
    }
    return *format;
}

int native_depth(const pic_format& format) {
    return format.depth_supported_fn(1) == 1 ? 16 : 8;
}

int deep_bits(const pic_format& format) {
    switch (format.type) {
        case deep_png_type:
            return 16;
        case TRELLIS_TYPE_PIXAR:
            return 12;
        default:
            return 10;
    }
}

}  // namespace trellis::host
