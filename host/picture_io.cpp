#include <new>
#include <system_error>

#include "trellis/convert.h"
#include "trellis/errors.h"
#include "trellis/host.hpp"
#include "trellis/settings.h"

#include "formats.h"
#include "stored_path.h"
#include "streams.h"
#include "unfinished_file.h"

namespace trellis::host {

namespace {

// Where a load takes its pixels, in the words of the slots: the first column and row are passed as
// negative numbers.
struct Placement {
    int last_x;
    int last_y;
    int file_x;
    int file_y;
};

// The buffers that a load fills. A format without a mask slot shows a mask as a grey image.
trellis_kind loaded_kind(const pic_format& format, const Description& info) {
    const bool grey = info.kind == TRELLIS_KIND_MASK && format.load_mask_fn == nullptr;
    return grey || info.kind == TRELLIS_KIND_OTHER ? TRELLIS_KIND_IMAGE : info.kind;
}

// The first argument of the convert wrappers.
enum Mode { same_depth = 0, from_8_to_16 = 1, from_16_to_8 = 2 };

Mode mode_between(int from, int to) {
    return from == to ? same_depth : from == 8 ? from_8_to_16 : from_16_to_8;
}

// The source kinds of the mask wrappers.
enum SourceKind { picture_slot = 1, mask_slot = 3 };

template <class Slot>
trellis_slot_fn any(Slot slot) {
    return reinterpret_cast<trellis_slot_fn>(slot);
}

// While a picture is loaded or saved, the library's buffer type is the picture's.
void set_buffer_type(const Picture& picture) {
    set_buffer_type_trellis(picture.depth() == 16 ? 1 : 0);
}

int load_through(const pic_format& format, const char* name, Picture& picture,
                 const Placement& at) {
    const int pitch = picture.width();
    const int mode = mode_between(native_depth(format), picture.depth());
    set_buffer_type(picture);
    if (picture.kind() == TRELLIS_KIND_IMAGE) {
        return load_pic_fn_convert_trellis(mode, format.load_pic_fn, name, picture.colour(), pitch,
                                           0, 0, at.last_x, at.last_y, at.file_x, at.file_y);
    }
    if (picture.kind() == TRELLIS_KIND_CUTOUT) {
        return load_rgba_fn_convert_trellis(mode, format.load_cut_fn, name, picture.colour(), pitch,
                                            picture.matte(), pitch, 0, 0, at.last_x, at.last_y,
                                            at.file_x, at.file_y);
    }
    return load_mask_fn_convert_trellis(mode, mask_slot, any(format.load_mask_fn), name,
                                        picture.matte(), pitch, 0, 0, at.last_x, at.last_y,
                                        at.file_x, at.file_y);
}

// A mask that the format has no slot for becomes a grey picture.
int save_through(const pic_format& format, const char* name, const Picture& picture,
                 bool compress) {
    // The wrappers take sources as they take destinations, and only read them.
    void* const colour = const_cast<std::uint8_t*>(picture.colour());
    void* const matte = const_cast<std::uint8_t*>(picture.matte());
    const int pitch = picture.width();
    const int last_x = picture.width() - 1;
    const int last_y = picture.height() - 1;
    const int mode = mode_between(picture.depth(), native_depth(format));
    set_buffer_type(picture);
    if (picture.kind() == TRELLIS_KIND_IMAGE) {
        return save_pic_fn_convert_trellis(mode, format.save_pic_fn, name, colour, pitch, 0, 0,
                                           last_x, last_y, compress ? 1 : 0);
    }
    if (picture.kind() == TRELLIS_KIND_CUTOUT) {
        return save_rgba_fn_convert_trellis(mode, format.save_cut_fn, name, colour, pitch, matte,
                                            pitch, 0, 0, last_x, last_y, compress ? 1 : 0);
    }
    const bool has_masks = format.save_mask_fn != nullptr;
    return save_mask_fn_convert_trellis(
        mode, has_masks ? mask_slot : picture_slot,
        has_masks ? any(format.save_mask_fn) : any(format.save_pic_fn), name, matte, pitch, 0, 0,
        last_x, last_y, compress ? 1 : 0);
}

// The matte of a mask that was loaded as a grey image: any of its three equal colours, as it is.
template <class Sample>
void take_grey(const Picture& grey, Picture& mask) {
    const auto* colour = reinterpret_cast<const Sample*>(grey.colour()) + grey.first_colour();
    const auto size = static_cast<std::size_t>(grey.colour_samples());
    for (std::uint64_t i = 0; i < grey.pixels(); ++i) {
        reinterpret_cast<Sample*>(mask.matte())[i] = colour[i * size];
    }
}

void take_grey_as_mask(Picture& picture) {
    Picture mask(TRELLIS_KIND_MASK, picture.width(), picture.height(), picture.depth());
    if (picture.depth() == 16) {
        take_grey<std::uint16_t>(picture, mask);
    } else {
        take_grey<std::uint8_t>(picture, mask);
    }
    picture = std::move(mask);
}

Description describe(const pic_format& format, const std::string& path) {
    if (format.info_fn == nullptr) {
        throw Error(path, TRELLIS_NOT_IN_FORMAT_ERROR);
    }
    // An out that does not apply to the file stays as it is here.
    unsigned int compression = 0;
    unsigned int kind = TRELLIS_KIND_OTHER;
    unsigned int channels = 0;
    unsigned int deep = 0;
    unsigned int width = 0;
    unsigned int height = 0;
    unsigned int unused = 0;
    call_library(path, [&] {
        return format.info_fn(path.c_str(), &compression, &unused, &unused, &unused, &kind,
                              &channels, &deep, &unused, &unused, &width, &height, &unused);
    });
    return {.format = &format_of(format),
            .kind = kind <= TRELLIS_KIND_MASK ? trellis_kind(kind) : TRELLIS_KIND_OTHER,
            .width = static_cast<int>(width),
            .height = static_cast<int>(height),
            .channels = static_cast<int>(channels),
            .depth = deep != 0 ? deep_bits(format) : 8,
            .compressed = compression != 0};
}

/// Saves to a file that is to become `target`; headers get its name.
void save_beside(const Picture& picture, const pic_format& format, const char* file,
                 const std::string& target, const SaveOptions& options) {
    call_library(target, [&] { return save_through(format, file, picture, options.compress); });
    replace_stored_path(file, format, target);
}

}  // namespace

Description describe(const std::string& path) {
    return describe(descriptor_of_file(path), path);
}

Picture load(const std::string& path, const LoadOptions& options) try {
    const pic_format& format = descriptor_of_file(path);
    const Description info = describe(format, path);
    if (info.width < 1 || info.height < 1) {
        throw Error(path, TRELLIS_UNSUPPORTED_ERROR);
    }
    const Region all = {0, 0, info.width - 1, info.height - 1};
    const Region region = options.region.value_or(all);
    if (region.x0 < 0 || region.y0 < 0 || region.x1 > all.x1 || region.y1 > all.y1) {
        throw Error(path, TRELLIS_WINDOW_ERROR,
                    "the picture is " + std::to_string(info.width) + " x " +
                        std::to_string(info.height) + " pixels");
    }
    const Placement placement = {region.x1 - region.x0, region.y1 - region.y0, -region.x0,
                                 -region.y0};
    Picture picture(loaded_kind(format, info), placement.last_x + 1, placement.last_y + 1,
                    options.depth.value_or(native_depth(format)));
    call_library(path, [&] { return load_through(format, path.c_str(), picture, placement); });
    // A file of one channel is a mask as it is: no need to weigh three equal colours.
    const bool as_mask = info.kind == TRELLIS_KIND_MASK || options.kind == TRELLIS_KIND_MASK;
    if (as_mask && info.channels == 1 && picture.kind() == TRELLIS_KIND_IMAGE) {
        take_grey_as_mask(picture);
    }
    picture.change_kind(options.kind.value_or(picture.kind()));
    return picture;
} catch (const std::bad_alloc&) {
    throw Error(path, TRELLIS_ALLOCATION_ERROR, "the picture is too large for this machine");
}

Picture load_catalogue(const std::string& path) {
    const pic_format& format = descriptor_of_file(path);
    if (format.load_cat_fn == nullptr) {
        throw Error(path, TRELLIS_NOT_IN_FORMAT_ERROR);
    }
    constexpr int width = 96;
    constexpr int height = 64;
    Picture picture(TRELLIS_KIND_IMAGE, width, height);
    unsigned int found_width = 0;
    unsigned int found_height = 0;
    unsigned int present = 0;
    int code = format.load_cat_fn(path.c_str(), picture.colour(), width * height, &found_width,
                                  &found_height, &present);
    if (code == 0 && present == 0) {
        code = TRELLIS_NO_CATALOGUE_ERROR;
    }
    if (code != 0) {
        throw Error(path, code);
    }
    return picture;
}

void save(const Picture& picture, const std::string& path, const SaveOptions& options) {
    const pic_format& format = descriptor_for_name(path, picture.depth());
    SafeFile file(path, options.force);
    save_beside(picture, format, file.path(), path, options);
    file.keep();
}

void save_to_stream(const Picture& picture, int descriptor, const std::string& extension,
                    const SaveOptions& options) try {
    const std::string name = name_of_descriptor(descriptor);
    const pic_format& format = descriptor_for_name(name + "." + extension, picture.depth());
    const UnfinishedFile file(temporary_directory(), "", 0600);
    save_beside(picture, format, file.path(), name, options);
    copy_bytes(file.descriptor(), temporary_directory(), descriptor, name);
} catch (const std::system_error& error) {
    throw Error(temporary_directory(), TRELLIS_OPEN_ERROR, error.code().message());
}

}  // namespace trellis::host
