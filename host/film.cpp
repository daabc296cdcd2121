#include "film.h"

#include <algorithm>
#include <string_view>

#include "trellis/errors.h"

#include "byte_order.h"
#include "bytes_of_file.h"
#include "header_layout.h"

namespace trellis::host {

namespace {

constexpr std::size_t dpx_size = 2048;
constexpr std::size_t cineon_part = 1024;

const char* transfer_name(int transfer) {
    constexpr const char* names[] = {"user defined",
                                     "printing density",
                                     "linear",
                                     "logarithmic",
                                     "video, unspecified",
                                     "SMPTE 274M",
                                     "ITU-R 709",
                                     "ITU-R 601, 625 lines",
                                     "ITU-R 601, 525 lines",
                                     "composite video, NTSC",
                                     "composite video, PAL",
                                     "depth, linear",
                                     "depth, homogeneous"};
    constexpr int cineon = 254;
    if (transfer == cineon) {
        return "printing density";
    }
    return transfer >= 0 && transfer < static_cast<int>(std::size(names)) ? names[transfer] : "";
}

// Only samples of 10 and 12 bits leave room in their words.
std::string packing_name(const trellis_film_info& info) {
    if (info.bit_size != 10 && info.bit_size != 12) {
        return {};
    }
    if (info.private_layout != 0) {
        return "whole bytes a pixel, as libtrellis has it";
    }
    if (info.format == TRELLIS_TYPE_CINEON) {
        return info.packing == 5 ? "filled, method A" : "";
    }
    constexpr const char* names[] = {"tight", "filled, method A", "filled, method B"};
    return info.packing >= 0 && info.packing <= 2 ? names[info.packing] : "";
}

trellis_kind kind_of(const trellis_film_info& info) {
    const std::string_view channels = info.channel_order;
    if (channels.size() == 4) {
        return TRELLIS_KIND_CUTOUT;
    }
    return channels.empty()  ? TRELLIS_KIND_OTHER
           : channels == "A" ? TRELLIS_KIND_MASK
                             : TRELLIS_KIND_IMAGE;
}

std::string text_of(const Header& header, std::string_view section, std::string_view field) {
    const HeaderField::Value* value = find_value(header, section, field);
    const auto* text = value == nullptr ? nullptr : std::get_if<std::string>(value);
    return text == nullptr ? std::string() : *text;
}

std::optional<float> rate_of(const Header& header, std::string_view section) {
    const HeaderField::Value* value = find_value(header, section, "frame rate");
    const auto* rate = value == nullptr ? nullptr : std::get_if<float>(value);
    // Some programs write numbers here that are none in the file's byte order.
    return rate != nullptr && *rate >= 1 && *rate < 100000 ? std::optional(*rate) : std::nullopt;
}

// Two digits a byte, hours first in big-endian files; all ones are no time code.
std::string time_code_of(const Header& header) {
    const std::string digits = text_of(header, "television", "time code");
    if (digits.empty() || digits == "FFFFFFFF") {
        return {};
    }
    std::string code;
    for (std::size_t i = 0; i < 4; ++i) {
        const std::size_t byte = header.byte_order == "little-endian" ? 3 - i : i;
        code += (i == 0 ? "" : ":") + digits.substr(2 * byte, 2);
    }
    return code;
}

/// A header that is being made ready for a save.
class HeaderEditor {
  public:
    HeaderEditor(std::string& bytes, HeaderLayout layout) : bytes_(bytes), layout_(layout) {}

    /// Reverses the bytes of every number, and of the time code, whose digits are a number's.
    void make_big_endian() {
        constexpr std::string_view undefined_real("\0\0\xFF\x4E", 4);
        auto at = bytes_.begin();
        for (const SectionLayout& section : layout_) {
            for (int i = 0; i < section.times; ++i) {
                for (const FieldLayout& field : section.fields) {
                    const auto end = at + static_cast<std::ptrdiff_t>(field.size);
                    const bool is_text =
                        field.type == FieldType::text || field.type == FieldType::gap;
                    if (!is_text && std::string_view(at, end) != undefined_real) {
                        std::reverse(at, end);
                    }
                    at = end;
                }
            }
        }
    }

    void set(std::string_view section, std::string_view field, std::uint32_t value,
             std::size_t size, std::size_t further = 0) {
        std::size_t at = offset_of_field(layout_, section, field) + further;
        for (std::size_t shift = size * 8; shift > 0; shift -= 8) {
            bytes_[at++] = static_cast<char>(value >> (shift - 8));
        }
    }

  private:
    std::string& bytes_;
    HeaderLayout layout_;
};

// What a file lacks of its header is marked as undefined.
std::string padded(std::string bytes, std::size_t size) {
    bytes.resize(size, '\xFF');
    return bytes;
}

std::string dpx_header(BytesOfFile& file, const trellis_film_info& info) {
    const std::uint64_t size = std::min<std::uint64_t>(dpx_size, info.image_offset);
    std::string bytes = padded(file.at(0, static_cast<std::size_t>(size)), dpx_size);
    HeaderEditor editor(bytes, dpx_layout());
    if (info.big_endian == 0) {
        bytes.replace(0, 4, "SDPX");
        editor.make_big_endian();
    }
    constexpr std::string_view element = "image element";
    if (info.bit_size != 10) {
        editor.set(element, "reference low data code", 0, 4);
        editor.set(element, "reference high data code", 1023, 4);
    }
    return bytes;
}

std::string cineon_header(BytesOfFile& file) {
    constexpr std::size_t file_information = 192;
    constexpr std::size_t channels = 8;
    constexpr std::size_t channel_size = 28;
    std::string bytes = file.at(0, cineon_part);
    const std::uint32_t length = big_endian(bytes, 8, 4);
    const bool usual = length < file_information || length > INT32_MAX;
    const std::size_t generic = usual ? cineon_part : length;
    bytes = padded(bytes.substr(0, generic), cineon_part) +
            padded(file.at(generic, cineon_part), cineon_part);
    HeaderEditor editor(bytes, cineon_generic_layout());
    editor.set("image information", "orientation", 0, 1);
    for (std::size_t i = 0; i < channels; ++i) {
        editor.set("channel", "bits per pixel", 10, 1, i * channel_size);
    }
    editor.set("data format", "end-of-line padding", 0, 4);
    editor.set("data format", "end-of-channel padding", 0, 4);
    return bytes;
}

}  // namespace

const HeaderField::Value* find_value(const Header& header, std::string_view section_name,
                                     std::string_view field_name) {
    for (const HeaderSection& section : header.sections) {
        for (const HeaderField& field : section.fields) {
            if (section.name == section_name && field.name == field_name) {
                return &field.value;
            }
        }
    }
    return nullptr;
}

trellis_film_info film_info(const std::string& path) {
    trellis_film_info info{};
    info.size = sizeof info;
    call_library(path, [&] { return info_film_trellis(path.c_str(), &info); });
    return info;
}

void describe_pixels(Description& description, const trellis_film_info& info) {
    description.kind = kind_of(info);
    description.width = static_cast<int>(std::min(info.width, unsigned{INT32_MAX}));
    description.height = static_cast<int>(std::min(info.height, unsigned{INT32_MAX}));
    description.channels = info.channels;
    description.depth = info.bit_size;
    description.compressed = info.encoding == 1;
    description.byte_order = info.big_endian != 0 ? "big-endian" : "little-endian";
    description.packing = packing_name(info);
    description.transfer = transfer_name(info.transfer);
    if (*info.samples_reason != '\0') {
        description.refusal = info.samples_reason;
        description.refusal_code =
            info.elements > 1 ? TRELLIS_ELEMENT_COUNT_ERROR : TRELLIS_UNSUPPORTED_ERROR;
    }
    if (info.present_size < info.promised_size) {
        description.missing = std::to_string(info.promised_size - info.present_size) + " of " +
                              std::to_string(info.promised_size) + " bytes of the picture";
    }
}

void describe_origin(Description& description, const std::string& path) {
    const Header header = read_header(path);
    description.time_code = time_code_of(header);
    description.frame_rate = rate_of(header, "film");
    if (!description.frame_rate) {
        description.frame_rate = rate_of(header, "television");
    }
    description.creator = text_of(header, "file information", "creator");
}

Picture::FilmHeader header_to_keep(const std::string& path, const trellis_film_info& info) {
    BytesOfFile file(path);
    const std::string bytes =
        info.format == TRELLIS_TYPE_DPX ? dpx_header(file, info) : cineon_header(file);
    return {static_cast<unsigned int>(info.format), {bytes.begin(), bytes.end()}};
}

}  // namespace trellis::host
