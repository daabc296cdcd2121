#include <new>
#include <system_error>

#include "trellis/convert.h"
#include "trellis/errors.h"
#include "trellis/host.hpp"
#include "trellis/settings.h"

#include "carried_fields.h"
#include "completeness.h"
#include "field_writer.h"
#include "film.h"
#include "film_slots.h"
#include "formats.h"
#include "memory.h"
#include "png_file.h"
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

// The depth at which a load asks a format's slots. Those of Maya write the layout of the buffer
// type setting, which is the program's, unless a wrapper that changes the depth asks for another.
int slot_depth(const pic_format& format, const Picture& picture) {
    if (format.type == TRELLIS_TYPE_MAYA) {
        return picture.depth() == 8 ? 16 : 8;
    }
    return picture.depth() == 10 ? 10 : native_depth(format);
}

int load_through(const pic_format& descriptor, const char* name, Picture& picture,
                 const Placement& at) {
    const pic_format& format = picture.depth() == 10 ? code_slots(descriptor) : descriptor;
    const int pitch = picture.width();
    const int mode = mode_between(slot_depth(format, picture), picture.depth());
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

int save_through(const pic_format& format, const char* name, const Picture& picture, int compress) {
    // The wrappers take sources as they take destinations, and only read them.
    void* const colour = const_cast<std::uint8_t*>(picture.colour());
    void* const matte = const_cast<std::uint8_t*>(picture.matte());
    const int pitch = picture.width();
    const int last_x = picture.width() - 1;
    const int last_y = picture.height() - 1;
    const int mode = mode_between(picture.depth(), native_depth(format));
    if (picture.kind() == TRELLIS_KIND_IMAGE) {
        return save_pic_fn_convert_trellis(mode, format.save_pic_fn, name, colour, pitch, 0, 0,
                                           last_x, last_y, compress);
    }
    if (picture.kind() == TRELLIS_KIND_CUTOUT) {
        return save_rgba_fn_convert_trellis(mode, format.save_cut_fn, name, colour, pitch, matte,
                                            pitch, 0, 0, last_x, last_y, compress);
    }
    return save_mask_fn_convert_trellis(mode, mask_slot, any(format.save_mask_fn), name, matte,
                                        pitch, 0, 0, last_x, last_y, compress);
}

/// Bytes as samples of 0 to 16383.
void widen(const std::uint8_t* from, std::uint64_t count, std::size_t stride, std::size_t first,
           std::uint8_t* to) {
    auto* words = reinterpret_cast<std::uint16_t*>(to);
    for (std::uint64_t i = 0; i < count; ++i) {
        for (std::size_t c = first; c < stride; ++c) {
            const unsigned int sample = from[i * stride + c];
            *words++ = static_cast<std::uint16_t>(sample * 64 + sample / 4);
        }
    }
}

Picture widened(const Picture& picture) {
    Picture wide(picture.kind(), picture.width(), picture.height(), 16);
    if (picture.colour() != nullptr) {
        widen(picture.colour(), picture.pixels(), 4, Picture::blue, wide.colour());
    }
    if (picture.matte() != nullptr) {
        widen(picture.matte(), picture.pixels(), 1, 0, wide.matte());
    }
    return wide;
}

int save_film(const pic_format& format, const char* name, const Picture& picture, bool with_matte,
              const Picture::FilmHeader& header, int bits) {
    if (!picture.has_words()) {
        return save_film(format, name, widened(picture), with_matte, header, bits);
    }
    const bool keep = header.type == format.type && !header.bytes.empty();
    const trellis_film_save options = {
        .size = sizeof options,
        .format = static_cast<int>(format.type),
        .bits = bits,
        .scaled = picture.depth() == 16 ? 1 : 0,
        // Without bytes, a new header.
        .header = keep ? static_cast<const void*>(header.bytes.data()) : "",
        .header_size = keep ? header.bytes.size() : 0,
    };
    return save_film_samples_trellis(name, picture.colour(), picture.width(),
                                     with_matte ? picture.matte() : nullptr, picture.width(), 0, 0,
                                     picture.width() - 1, picture.height() - 1, &options);
}

/// The colours of a mask that is saved where there are no masks.
Picture grey_of(const Picture& mask) {
    Picture grey(TRELLIS_KIND_IMAGE, mask.width(), mask.height(), mask.depth());
    const std::size_t sample = mask.has_words() ? 2 : 1;
    const std::size_t row = sample * std::size_t(mask.width());
    for (std::size_t y = 0; y < std::size_t(mask.height()); ++y) {
        mask_to_rgb_convert_trellis(mask.has_words() ? 1 : 0,
                                    grey.colour() + y * row * std::size_t(grey.colour_samples()),
                                    mask.matte() + y * row, mask.width());
    }
    return grey;
}

int save_picture(const pic_format& format, const char* name, const Picture& picture,
                 const SaveOptions& options) try {
    const bool film = is_film(format.type);
    const bool mattes = !film || options.private_film_layouts;
    if (picture.kind() == TRELLIS_KIND_MASK && (!mattes || format.save_mask_fn == nullptr)) {
        Picture grey = grey_of(picture);
        grey.set_film_header(picture.film_header());
        return save_picture(format, name, grey, options);
    }
    if (film) {
        return save_film(format, name, picture, mattes, picture.film_header(),
                         options.bits.value_or(10));
    }
    const bool png = format.type == png_type || format.type == deep_png_type;
    const int compress = png ? options.png_level : options.compress ? 1 : 0;
    return save_through(format, name, picture, compress);
} catch (const std::bad_alloc&) {
    return TRELLIS_ALLOCATION_ERROR;
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
    if (picture.has_words()) {
        take_grey<std::uint16_t>(picture, mask);
    } else {
        take_grey<std::uint8_t>(picture, mask);
    }
    picture = std::move(mask);
}

void describe_by_query(Description& description, const pic_format& format,
                       const std::string& path) {
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
    description.kind = kind <= TRELLIS_KIND_MASK ? trellis_kind(kind) : TRELLIS_KIND_OTHER;
    description.width = static_cast<int>(width);
    description.height = static_cast<int>(height);
    description.channels = static_cast<int>(channels);
    description.depth = deep != 0 ? deep_bits(format) : 8;
    description.compressed = compression != 0;
}

void check(Description& description, const pic_format& format, const std::string& path) {
    switch (format.type) {
        case TRELLIS_TYPE_PIXAR:
            return check_pixar(description, path);
        case TRELLIS_TYPE_MAYA:
            return check_maya(description, path);
        default:
            return check_png(description, path);
    }
}

/// All that a load wants to know of a file.
struct Source {
    const pic_format& format;
    Description description = {};
    trellis_film_info film = {};
};

Source source_of(const std::string& path) {
    Source source = {.format = descriptor_of_file(path)};
    source.description.format = &format_of(source.format);
    if (is_film(source.format.type)) {
        source.film = film_info(path);
        describe_pixels(source.description, source.film);
    } else {
        describe_by_query(source.description, source.format, path);
        check(source.description, source.format, path);
    }
    return source;
}

/// Throws Error when the picture in the file is not what a load would give.
void check_loadable(const Description& description, const std::string& path, bool lenient) {
    if (!description.refusal.empty()) {
        throw Error(path, description.refusal_code, description.refusal);
    }
    if (description.width < 1 || description.height < 1) {
        throw Error(path, TRELLIS_UNSUPPORTED_ERROR);
    }
    if (!description.missing.empty() && !lenient) {
        throw Error(path, TRELLIS_READ_ERROR, description.missing + " are missing");
    }
}

int depth_to_load(const Source& source, const LoadOptions& options) {
    const bool has_codes = source.film.bit_size == 10 && *source.film.slots_reason == '\0' &&
                           source.description.kind != TRELLIS_KIND_MASK;
    if (options.codes && !options.kind && has_codes) {
        return 10;
    }
    return options.depth.value_or(native_depth(source.format));
}

/// Throws std::bad_alloc when the buffers of a load, and those that its conversions take beside
/// them, would not all have room in memory.
void check_memory(const Source& source, std::uint64_t pixels, int depth) {
    constexpr std::uint64_t bytes_of_8 = 5;
    constexpr std::uint64_t bytes_of_16 = 8;
    const bool words = depth != 8;
    const bool converted = words != (native_depth(source.format) != 8);
    const std::uint64_t most = converted ? bytes_of_8 + bytes_of_16
                               : words   ? bytes_of_16
                                         : bytes_of_8;
    if (pixels > memory_limit() / most) {
        throw std::bad_alloc();
    }
}

/// Loads the pixels, and warns of those that a lenient load does without.
void load_into(Picture& picture, const Source& source, const std::string& path,
               const Placement& placement, bool lenient) {
    const std::string& missing = source.description.missing;
    errno = 0;
    const int code = load_through(source.format, path.c_str(), picture, placement);
    if (code != 0 && !(lenient && code == TRELLIS_READ_ERROR)) {
        throw Error(path, code, system_reason(code, errno));
    }
    if (code != 0 || !missing.empty()) {
        picture.add_warning((missing.empty() ? "a part of the picture" : missing) +
                            " missing, black in its place");
    }
}

/// Saves to a file that is to become `target`; headers get its name.
void save_beside(const Picture& picture, const pic_format& format, const char* file,
                 const std::string& target, const SaveOptions& options) {
    if (picture.depth() == 10 && !is_film(format.type)) {
        throw Error(target, TRELLIS_NOT_IN_FORMAT_ERROR, "only film formats hold film codes");
    }
    if (options.bits && !is_film(format.type) && native_depth(format) != *options.bits) {
        throw Error(target, TRELLIS_NOT_IN_FORMAT_ERROR,
                    "no samples of " + std::to_string(*options.bits) + " bits");
    }
    call_library(target, [&] { return save_picture(format, file, picture, options); });
    const Picture::FilmHeader& header = picture.film_header();
    if (is_film(format.type) && header.type != format.type) {
        write_fields(file, target, header.for_other_format);
    }
    if (!options.fields.empty()) {
        edit_fields(file, target, options.fields);
    }
    replace_stored_path(file, format, target);
}

}  // namespace

Description describe(const std::string& path) {
    Source source = source_of(path);
    if (is_film(source.format.type)) {
        describe_origin(source.description, path);
    }
    return source.description;
}

Picture load(const std::string& path, const LoadOptions& options) try {
    const Source source = source_of(path);
    const pic_format& format = source.format;
    const Description& info = source.description;
    check_loadable(info, path, options.lenient);
    const Region all = {0, 0, info.width - 1, info.height - 1};
    const Region region = options.region.value_or(all);
    if (region.x0 < 0 || region.y0 < 0 || region.x1 > all.x1 || region.y1 > all.y1) {
        throw Error(path, TRELLIS_WINDOW_ERROR,
                    "the picture is " + std::to_string(info.width) + " x " +
                        std::to_string(info.height) + " pixels");
    }
    const Placement placement = {region.x1 - region.x0, region.y1 - region.y0, -region.x0,
                                 -region.y0};
    const int width = placement.last_x + 1;
    const int height = placement.last_y + 1;
    const int depth = depth_to_load(source, options);
    check_memory(source, std::uint64_t(width) * std::uint64_t(height), depth);
    Picture picture(loaded_kind(format, info), width, height, depth);
    load_into(picture, source, path, placement, options.lenient);
    // A file of one channel is a mask as it is: no need to weigh three equal colours.
    const bool as_mask = info.kind == TRELLIS_KIND_MASK || options.kind == TRELLIS_KIND_MASK;
    if (as_mask && info.channels == 1 && picture.kind() == TRELLIS_KIND_IMAGE) {
        take_grey_as_mask(picture);
    }
    picture.change_kind(options.kind.value_or(picture.kind()));
    if (is_film(format.type)) {
        Picture::FilmHeader header = header_to_keep(path, source.film);
        header.for_other_format = fields_for_other_format(read_header(path));
        picture.set_film_header(std::move(header));
    }
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
    call_library(path, [&] {
        return format.load_cat_fn(path.c_str(), picture.colour(), width * height, &found_width,
                                  &found_height, &present);
    });
    if (present == 0) {
        throw Error(path, TRELLIS_NO_CATALOGUE_ERROR);
    }
    return picture;
}

void save(const Picture& picture, const std::string& path, const SaveOptions& options) {
    const pic_format& format = descriptor_for_name(path, options.bits.value_or(picture.depth()));
    SafeFile file(path, options.force);
    save_beside(picture, format, file.path(), path, options);
    file.keep();
}

void save_to_stream(const Picture& picture, int descriptor, const std::string& extension,
                    const SaveOptions& options) try {
    const std::string name = name_of_descriptor(descriptor);
    const pic_format& format =
        descriptor_for_name(name + "." + extension, options.bits.value_or(picture.depth()));
    const UnfinishedFile file(temporary_directory(), "", 0600);
    save_beside(picture, format, file.path(), name, options);
    copy_bytes(file.descriptor(), temporary_directory(), descriptor, name);
} catch (const std::system_error& error) {
    throw Error(temporary_directory(), TRELLIS_OPEN_ERROR, error.code().message());
}

}  // namespace trellis::host
