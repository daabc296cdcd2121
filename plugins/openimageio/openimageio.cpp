// OpenImageIO's reader and writer of the library's formats. Its own plug-ins come first for names
// and files that they know, so this one serves Pixar pictures, Cineon files to be written, and
// whatever file has a name that ends in ".trellis": IFF masks need it, which OpenImageIO's own
// reader does not understand.

#include <OpenImageIO/imageio.h>

#include <charconv>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "trellis/errors.h"
#include "trellis/host.hpp"
#include "trellis/view.hpp"

namespace {

namespace host = trellis::host;

OIIO::string_view view(const std::string& text) {
    return {text.data(), text.size()};
}

/// Calls what may throw; an exception becomes `owner`'s error and false.
template <class Owner, class Function>
bool succeeds(Owner& owner, Function function) {
    try {
        function();
        return true;
    } catch (const std::exception& error) {
        owner.errorfmt("{}", error.what());
        return false;
    }
}

const char* colour_space(const host::Description& file) {
    if (file.transfer == "logarithmic" || file.transfer == "printing density") {
        return "KodakLog";
    }
    if (file.transfer == "linear" || file.kind == TRELLIS_KIND_MASK) {
        return "Linear";
    }
    return file.transfer.starts_with("ITU-R 709") ? "Rec709" : "sRGB";
}

/// "01:02:03:04" as the time code of SMPTE 12M, whose decimal digits are four bits each.
std::uint32_t time_code_word(const std::string& text) {
    std::uint32_t word = 0;
    for (const char c : text) {
        word = c == ':' ? word : word << 4 | static_cast<std::uint32_t>(c - '0');
    }
    return word;
}

void add_attributes(OIIO::ImageSpec& spec, const host::Description& file) {
    spec.attribute("oiio:ColorSpace", colour_space(file));
    spec.attribute("oiio:BitsPerSample", file.depth);
    spec.attribute("trellis:format", file.format->code);
    if (file.compressed) {
        spec.attribute("compression", "rle");
    }
    if (!file.creator.empty()) {
        spec.attribute("Software", view(file.creator));
    }
    if (!file.time_code.empty()) {
        const std::uint32_t words[2] = {time_code_word(file.time_code), 0};
        spec.attribute("smpte:TimeCode", OIIO::TypeTimeCode, words);
    }
    if (file.frame_rate) {
        spec.attribute("FramesPerSecond", *file.frame_rate);
    }
}

class Input final : public OIIO::ImageInput {
  public:
    ~Input() override { close(); }

    const char* format_name() const override { return "trellis"; }

    bool valid_file(const std::string& name) const override {
        try {
            return is_ours(host::describe(name));
        } catch (const std::exception&) {
            return false;
        }
    }

    bool open(const std::string& name, OIIO::ImageSpec& spec) override {
        return open(name, spec, {});
    }

    // Colours come multiplied by the matte, as OpenImageIO wants them, unless "as they are" is
    // asked for in its way.
    bool open(const std::string& name, OIIO::ImageSpec& spec,
              const OIIO::ImageSpec& wishes) override {
        return succeeds(*this, [&] {
            const host::Description file = host::describe(name);
            if (!is_ours(file) || !file.refusal.empty()) {
                const int code =
                    file.refusal.empty() ? TRELLIS_UNSUPPORTED_ERROR : file.refusal_code;
                throw host::Error(name, code, file.refusal);
            }
            if (!file.missing.empty()) {
                throw host::Error(name, TRELLIS_READ_ERROR, file.missing + " are missing");
            }
            name_ = name;
            kind_ = file.kind;
            const bool is_mask = kind_ == TRELLIS_KIND_MASK;
            const int channels = is_mask ? 1 : kind_ == TRELLIS_KIND_CUTOUT ? 4 : 3;
            const bool words = file.format->depth != 8;
            m_spec = OIIO::ImageSpec(file.width, file.height, channels,
                                     words ? OIIO::TypeUInt16 : OIIO::TypeUInt8);
            if (is_mask) {
                m_spec.channelnames = {"A"};
                m_spec.alpha_channel = 0;
            }
            add_attributes(m_spec, file);
            as_it_is_ = wishes.get_int_attribute("oiio:UnassociatedAlpha") != 0;
            if (as_it_is_ && channels == 4) {
                m_spec.attribute("oiio:UnassociatedAlpha", 1);
            }
            spec = m_spec;
        });
    }

    bool close() override {
        name_.clear();
        return true;
    }

    bool read_native_scanline(int subimage, int level, int y, int z, void* data) override {
        return read_native_scanlines(subimage, level, y, y + 1, z, data);
    }

    // Only these lines are read of the file. Nothing is kept between calls, so any thread may.
    bool read_native_scanlines(int subimage, int level, int first, int end, int,
                               void* data) override {
        if (subimage != 0 || level != 0 || name_.empty()) {
            return false;
        }
        return succeeds(*this, [&] {
            const host::Region lines = {0, m_spec.height - end, m_spec.width - 1,
                                        m_spec.height - first - 1};
            host::Picture picture = host::load(name_, {.kind = kind_, .region = lines});
            if (!as_it_is_) {
                picture.premultiply();
            }
            auto* to = static_cast<std::uint8_t*>(data);
            for (int row = 0; row < end - first; ++row, to += m_spec.scanline_bytes(true)) {
                if (picture.has_words()) {
                    host::get_row(picture, row, reinterpret_cast<std::uint16_t*>(to));
                } else {
                    host::get_row(picture, row, to);
                }
            }
        });
    }

  private:
    static bool is_ours(const host::Description& file) {
        return !file.format->code.starts_with("PNG") && file.kind != TRELLIS_KIND_OTHER;
    }

    std::string name_;
    trellis_kind kind_ = TRELLIS_KIND_IMAGE;
    bool as_it_is_ = false;
};

// What OpenImageIO calls, behind "dpx:" or "cineon:", what Cineon headers have.
constexpr std::pair<std::string_view, const char*> film_fields[] = {
    {"InputDevice", "image origination.input device"},
    {"InputDeviceSerialNumber", "image origination.serial number"},
    {"SourceImageFileName", "image origination.source file name"},
    {"Format", "film.format"},
    {"FrameId", "film.frame attribute"},
    {"FramePosition", "film.frame position"},
    {"FrameRate", "film.frame rate"},
    {"SlateInfo", "film.slate"},
};

/// Texts as they are; numbers in digits that are read back as the same number; nothing for those
/// that other readers make of undefined fields.
std::optional<std::string> field_value(const OIIO::ParamValue& attribute) {
    if (attribute.type() == OIIO::TypeString) {
        return attribute.get_string();
    }
    const float number = attribute.get_float();
    if (!(number >= 1e-6F && number < 1e9F)) {
        return {};
    }
    char digits[32];
    return std::string(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

std::vector<host::FieldEdit> film_fields_of(const OIIO::ImageSpec& spec) {
    std::vector<host::FieldEdit> edits;
    for (const auto& [name, field] : film_fields) {
        for (const char* format : {"cineon:", "dpx:"}) {
            const OIIO::ParamValue* attribute = spec.find_attribute(format + std::string(name));
            const auto value = attribute == nullptr ? std::nullopt : field_value(*attribute);
            if (value && !value->empty()) {
                edits.push_back({field, *value});
                break;
            }
        }
    }
    return edits;
}

class Output final : public OIIO::ImageOutput {
  public:
    ~Output() override { close(); }

    const char* format_name() const override { return "trellis"; }

    int supports(OIIO::string_view feature) const override {
        return feature == "alpha" || feature == "random_access";
    }

    bool open(const std::string& name, const OIIO::ImageSpec& spec, OpenMode mode) override {
        return succeeds(*this, [&] {
            if (mode != Create || spec.depth > 1 || spec.deep) {
                throw host::Error(name, TRELLIS_UNSUPPORTED_ERROR, "files hold one flat picture");
            }
            constexpr trellis_kind kinds[] = {TRELLIS_KIND_MASK, TRELLIS_KIND_OTHER,
                                              TRELLIS_KIND_IMAGE, TRELLIS_KIND_CUTOUT};
            if (spec.nchannels < 1 || spec.nchannels == 2 || spec.nchannels > 4) {
                throw host::Error(
                    name, TRELLIS_UNSUPPORTED_ERROR,
                    "pictures have 1, 3 or 4 channels, not " + std::to_string(spec.nchannels));
            }
            const int depth = host::format_for_name(name, 16).depth;
            picture_ = host::Picture(kinds[spec.nchannels - 1], spec.width, spec.height, depth);
            m_spec = spec;
            m_spec.set_format(depth == 8 ? OIIO::TypeUInt8 : OIIO::TypeUInt16);
            name_ = name;
        });
    }

    bool write_scanline(int y, int z, OIIO::TypeDesc format, const void* data,
                        OIIO::stride_t to_pixel) override {
        if (name_.empty()) {
            errorfmt("no file is open");
            return false;
        }
        const void* native = to_native_scanline(format, data, to_pixel, scratch_, 0, y, z);
        if (picture_.has_words()) {
            host::set_row(picture_, y - m_spec.y, static_cast<const std::uint16_t*>(native));
        } else {
            host::set_row(picture_, y - m_spec.y, static_cast<const std::uint8_t*>(native));
        }
        return true;
    }

    // The file appears now, whole or not at all.
    bool close() override {
        if (name_.empty()) {
            return true;
        }
        return succeeds(*this, [&] {
            const std::string name = std::exchange(name_, {});
            const bool straight = m_spec.get_int_attribute("oiio:UnassociatedAlpha") != 0;
            if (!straight) {
                picture_.unpremultiply();
            }
            host::SaveOptions options = {
                .compress = m_spec.get_string_attribute("compression") != "none", .force = true};
            if (host::format_for_name(name, 16).depth != 8) {
                options.fields = film_fields_of(m_spec);
            }
            const host::Picture picture = std::move(picture_);
            host::save(picture, name, options);
        });
    }

  private:
    std::string name_;
    host::Picture picture_;
    std::vector<unsigned char> scratch_;
};

}  // namespace

// The names by which OpenImageIO finds the plug-in, which is trellis.imageio.so.
OIIO_PLUGIN_EXPORTS_BEGIN

OIIO_EXPORT int trellis_imageio_version = OIIO_PLUGIN_VERSION;

OIIO_EXPORT const char* trellis_imageio_library_version() {
    return "libtrellis";
}

OIIO_EXPORT OIIO::ImageInput* trellis_input_imageio_create() {
    return new Input;
}

OIIO_EXPORT const char* trellis_input_extensions[] = {"pic", "trellis", nullptr};

OIIO_EXPORT OIIO::ImageOutput* trellis_output_imageio_create() {
    return new Output;
}

OIIO_EXPORT const char* trellis_output_extensions[] = {"pic", "cin", nullptr};

OIIO_PLUGIN_EXPORTS_END
