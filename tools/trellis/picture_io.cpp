#include "picture_io.h"

#include <new>

#include "trellis/errors.h"

#include "file_error.h"
#include "formats.h"
#include "progress_bar.h"
#include "safe_file.h"

namespace tool {

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
trellis_kind loaded_kind(const FileInfo& info) {
    const bool grey = info.kind == TRELLIS_KIND_MASK && info.format->load_mask_fn == nullptr;
    return grey || info.kind == TRELLIS_KIND_OTHER ? TRELLIS_KIND_IMAGE : info.kind;
}

int load(const pic_format& format, const char* name, const Picture& picture, const Placement& at) {
    const int pitch = picture.width();
    if (picture.kind() == TRELLIS_KIND_IMAGE && format.load_pic_fn != nullptr) {
        return format.load_pic_fn(name, picture.colour(), pitch, 0, 0, at.last_x, at.last_y,
                                  at.file_x, at.file_y);
    }
    if (picture.kind() == TRELLIS_KIND_CUTOUT && format.load_cut_fn != nullptr) {
        return format.load_cut_fn(name, picture.colour(), pitch, picture.matte(), pitch, 0, 0,
                                  at.last_x, at.last_y, at.file_x, at.file_y);
    }
    if (picture.kind() == TRELLIS_KIND_MASK && format.load_mask_fn != nullptr) {
        return format.load_mask_fn(name, picture.matte(), pitch, 0, 0, at.last_x, at.last_y,
                                   at.file_x, at.file_y);
    }
    return TRELLIS_NOT_IN_FORMAT_ERROR;
}

int save(const pic_format& format, const char* name, const Picture& picture, bool compress) {
    const int pitch = picture.width();
    const int last_x = picture.width() - 1;
    const int last_y = picture.height() - 1;
    if (picture.kind() == TRELLIS_KIND_IMAGE && format.save_pic_fn != nullptr) {
        return format.save_pic_fn(name, picture.colour(), pitch, 0, 0, last_x, last_y,
                                  compress ? 1 : 0);
    }
    if (picture.kind() == TRELLIS_KIND_CUTOUT && format.save_cut_fn != nullptr) {
        return format.save_cut_fn(name, picture.colour(), pitch, picture.matte(), pitch, 0, 0,
                                  last_x, last_y, compress ? 1 : 0);
    }
    if (picture.kind() == TRELLIS_KIND_MASK && format.save_mask_fn != nullptr) {
        return format.save_mask_fn(name, picture.matte(), pitch, 0, 0, last_x, last_y,
                                   compress ? 1 : 0);
    }
    return TRELLIS_NOT_IN_FORMAT_ERROR;
}

// The matte of a mask that was loaded as a grey image: any of its three equal colours, as it is.
void take_grey_as_mask(Picture& picture) {
    Picture mask(TRELLIS_KIND_MASK, picture.width(), picture.height());
    for (std::uint64_t i = 0; i < picture.pixels(); ++i) {
        mask.matte()[i] = picture.colour()[i * Picture::colour_size + Picture::blue];
    }
    picture = std::move(mask);
}

}  // namespace

FileInfo describe(const std::string& path) {
    const pic_format& format = format_of_file(path);
    if (format.info_fn == nullptr) {
        throw FileError(path, TRELLIS_NOT_IN_FORMAT_ERROR);
    }
    // An out that does not apply to the file stays as it is here.
    unsigned int compression = 0;
    unsigned int kind = TRELLIS_KIND_OTHER;
    unsigned int channels = 0;
    unsigned int deep = 0;
    unsigned int width = 0;
    unsigned int height = 0;
    unsigned int unused = 0;
    const int code = format.info_fn(path.c_str(), &compression, &unused, &unused, &unused, &kind,
                                    &channels, &deep, &unused, &unused, &width, &height, &unused);
    if (code != 0) {
        throw FileError(path, code);
    }
    return {.format = &format,
            .kind = kind <= TRELLIS_KIND_MASK ? trellis_kind(kind) : TRELLIS_KIND_OTHER,
            .width = static_cast<int>(width),
            .height = static_cast<int>(height),
            .channels = static_cast<int>(channels),
            .depth = deep != 0 ? deep_bits(format) : 8,
            .compressed = compression != 0};
}

Picture load_picture(const std::string& path, const LoadOptions& options) try {
    const FileInfo info = describe(path);
    if (info.width < 1 || info.height < 1) {
        throw FileError(path, TRELLIS_UNSUPPORTED_ERROR);
    }
    const Region all = {0, 0, info.width - 1, info.height - 1};
    const Region region = options.region.value_or(all);
    if (region.x0 < 0 || region.y0 < 0 || region.x1 > all.x1 || region.y1 > all.y1) {
        throw FileError(path, TRELLIS_WINDOW_ERROR,
                        "the picture is " + std::to_string(info.width) + " x " +
                            std::to_string(info.height) + " pixels");
    }
    const Placement placement = {region.x1 - region.x0, region.y1 - region.y0, -region.x0,
                                 -region.y0};
    Picture picture(loaded_kind(info), placement.last_x + 1, placement.last_y + 1);
    {
        const ProgressBar bar("loading", path);
        if (const int code = load(*info.format, path.c_str(), picture, placement); code != 0) {
            throw FileError(path, code);
        }
    }
    if (info.kind == TRELLIS_KIND_MASK && picture.kind() == TRELLIS_KIND_IMAGE) {
        take_grey_as_mask(picture);
    }
    picture.turn_into(options.kind.value_or(picture.kind()));
    return picture;
} catch (const std::bad_alloc&) {
    throw FileError(path, TRELLIS_ALLOCATION_ERROR, "the picture is too large for this machine");
}

void save_picture(const Picture& picture, const std::string& path, const SaveOptions& options) {
    const pic_format& format = format_for_name(path);
    SafeFile file(path, options.force);
    const ProgressBar bar("saving", path);
    const int code = file.written_by(
        [&](const char* name) { return save(format, name, picture, options.compress); });
    if (code != 0) {
        throw FileError(path, code);
    }
    file.keep();
}

}  // namespace tool
