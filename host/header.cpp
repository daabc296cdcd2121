// The fields of a file's header, by the layouts of header_layout.h.

#include <bit>
#include <cmath>
#include <cstdio>
#include <string_view>
#include <utility>

#include "trellis/errors.h"
#include "trellis/host.hpp"

#include "byte_order.h"
#include "bytes_of_file.h"
#include "formats.h"
#include "header_layout.h"
#include "iff_chunks.h"

namespace trellis::host {

namespace {

using namespace std::string_view_literals;

std::string hex_digits(std::string_view bytes) {
    std::string digits;
    for (const char byte : bytes) {
        char pair[3];
        std::snprintf(pair, sizeof pair, "%02X", static_cast<unsigned char>(byte));
        digits += pair;
    }
    return digits;
}

/// Reads the value of a field from its bytes.
struct ValueReader {
    bool big_endian = true;
    bool reals_in_any_order = false;

    HeaderField::Value value(FieldType type, std::string_view bytes) const {
        switch (type) {
            case FieldType::gap:
                break;
            case FieldType::text:
                return text(bytes);
            case FieldType::hex:
                return hex_digits(bytes);
            case FieldType::u8:
            case FieldType::u16:
            case FieldType::u32:
                return whole_number(bytes);
            case FieldType::real:
                return real(bytes);
        }
        return HeaderField::Undefined();
    }

  private:
    std::uint32_t number(std::string_view bytes, bool from_big_endian) const {
        return from_big_endian ? host::big_endian(bytes, 0, bytes.size())
                               : little_endian(bytes, 0, bytes.size());
    }

    static HeaderField::Value text(std::string_view bytes) {
        if (bytes[0] == '\xFF') {
            return HeaderField::Undefined();
        }
        return std::string(bytes.substr(0, bytes.find('\0')));
    }

    HeaderField::Value whole_number(std::string_view bytes) const {
        if (bytes.find_first_not_of('\xFF') == std::string_view::npos) {
            return HeaderField::Undefined();
        }
        return number(bytes, big_endian);
    }

    // Undefined reals have the whole numbers' mark, or the bytes 00 00 FF 4E in files of either
    // order.
    HeaderField::Value real(std::string_view bytes) const {
        if (bytes == "\xFF\xFF\xFF\xFF"sv || bytes == "\0\0\xFF\x4E"sv) {
            return HeaderField::Undefined();
        }
        const auto value = std::bit_cast<float>(number(bytes, big_endian));
        const auto other = std::bit_cast<float>(number(bytes, !big_endian));
        return reals_in_any_order && !is_likely(value) && is_likely(other) ? other : value;
    }

    // Cineon files are big-endian, but some programs, this library among them, leave reals as they
    // are in memory. Only one order gives a number that means something.
    static bool is_likely(float value) {
        return value == 0 || (std::abs(value) > 1e-6F && std::abs(value) < 1e9F);
    }
};

/// Reads sections from the front of `bytes`, which may end before they do.
void read_sections(std::vector<HeaderSection>& sections, HeaderLayout layout,
                   std::string_view bytes, const ValueReader& reader) {
    const auto take = [&bytes](std::size_t size) {
        const std::string_view taken = bytes.substr(0, size);
        bytes.remove_prefix(taken.size());
        return taken;
    };
    for (const SectionLayout& part : layout) {
        for (int i = 1; i <= part.times; ++i) {
            HeaderSection section;
            section.name = part.name;
            if (part.times > 1) {
                section.name += ' ' + std::to_string(i);
            }
            for (const FieldLayout& field : part.fields) {
                const std::string_view piece = take(field.size);
                if (field.type == FieldType::gap) {
                    continue;
                }
                section.fields.push_back({std::string(field.name), HeaderField::Absent()});
                if (piece.size() == field.size) {
                    section.fields.back().value = reader.value(field.type, piece);
                }
            }
            if (!section.fields.empty()) {
                sections.push_back(std::move(section));
            }
        }
    }
}

// What is read of a header, and what must be there of it: the part that picture readers need.
constexpr std::size_t dpx_size = 2048;
constexpr std::size_t dpx_least = 1664;
constexpr std::size_t cineon_part = 1024;
constexpr std::size_t pixar_size = 760;
constexpr std::size_t iff_least = 12;

/// The first bytes of a file, up to `size`. A header that is another format's, or cut short before
/// `least`, is not shown as if it were whole.
std::string start_of(BytesOfFile& file, const std::string& path, std::size_t size,
                     std::size_t least, std::initializer_list<std::string_view> magics) {
    std::string bytes = file.at(0, size);
    bool known = false;
    for (const std::string_view magic : magics) {
        known = known || bytes.starts_with(magic);
    }
    if (bytes.size() < least) {
        throw Error(path, TRELLIS_READ_ERROR, "the header is cut short");
    }
    if (!known) {
        throw Error(path, TRELLIS_MAGIC_ERROR);
    }
    return bytes;
}

void read_dpx(Header& header, BytesOfFile& file, const std::string& path) {
    const std::string bytes = start_of(file, path, dpx_size, dpx_least, {"SDPX"sv, "XPDS"sv});
    const bool big = bytes.starts_with("SDPX");
    header.byte_order = big ? "big-endian" : "little-endian";
    read_sections(header.sections, dpx_layout(), bytes, {.big_endian = big});
}

// The industry's part follows the generic one, whose length the header gives; a negative one means
// the usual.
void read_cineon(Header& header, BytesOfFile& file, const std::string& path) {
    constexpr std::size_t file_information = 192;
    constexpr std::size_t generic_length_at = 8;
    std::string bytes = start_of(file, path, cineon_part, cineon_part, {"\x80\x2A\x5F\xD7"sv});
    const std::uint32_t length = big_endian(bytes, generic_length_at, 4);
    const bool usual = length < file_information || length > INT32_MAX;
    const std::size_t generic = usual ? cineon_part : length;
    bytes.resize(std::min(bytes.size(), generic));
    const ValueReader reader = {.reals_in_any_order = true};
    read_sections(header.sections, cineon_generic_layout(), bytes, reader);
    read_sections(header.sections, cineon_industry_layout(), file.at(generic, cineon_part), reader);
}

void read_pixar(Header& header, BytesOfFile& file, const std::string& path) {
    const std::string bytes =
        start_of(file, path, pixar_size, pixar_size, {"\0\0\xE8\x80\0\0\0\0"sv});
    read_sections(header.sections, pixar_layout(), bytes, {});
}

void read_iff(Header& header, BytesOfFile& file, const std::string& path) {
    start_of(file, path, iff_least, iff_least, {"FOR4"sv, "CIMG"sv});
    header.chunks = iff_chunks(file);
}

}  // namespace

Header read_header(const std::string& path) {
    const pic_format& format = descriptor_of_file(path);
    Header header;
    header.format = &format_of(format);
    BytesOfFile file(path);
    switch (format.type) {
        case TRELLIS_TYPE_DPX:
            read_dpx(header, file, path);
            break;
        case TRELLIS_TYPE_CINEON:
            read_cineon(header, file, path);
            break;
        case TRELLIS_TYPE_PIXAR:
            read_pixar(header, file, path);
            break;
        case TRELLIS_TYPE_MAYA:
            read_iff(header, file, path);
            break;
        default:
            throw Error(path, TRELLIS_NOT_IN_FORMAT_ERROR);
    }
    return header;
}

}  // namespace trellis::host
