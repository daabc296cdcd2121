#include <nlohmann/json.hpp>

#include <bit>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <string_view>

#include "trellis/errors.h"

#include "commands.h"
#include "header_fields.h"
#include "host/formats.h"
#include "iff_tree.h"
#include "report.h"

namespace tool {

namespace {

using Json = nlohmann::ordered_json;

// What is shown of a header, and what must be there of it: the part that readers need.
constexpr std::size_t longest_header = 2048;
constexpr std::size_t dpx_least = 1664;
constexpr std::size_t cineon_least = 1024;
constexpr std::size_t pixar_least = 760;
constexpr std::size_t iff_least = 12;

std::string first_bytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string bytes(longest_header, '\0');
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    return bytes;
}

/// Reads fields out of a header; a field that is marked as undefined, or that the file is too short
/// for, is null.
class FieldReader {
  public:
    FieldReader(std::string bytes, bool big_endian, bool reals_in_any_order)
        : bytes_(std::move(bytes)),
          big_endian_(big_endian),
          reals_in_any_order_(reals_in_any_order) {}

    Json value(std::size_t base, const HeaderField& field) const {
        const std::size_t offset = base + field.offset;
        switch (field.type) {
            case FieldType::text:
                return has(offset, field.size) ? text(bytes_.substr(offset, field.size)) : Json();
            case FieldType::hex:
                return has(offset, field.size) ? hex(bytes_.substr(offset, field.size)) : Json();
            case FieldType::u8:
                return number(offset, 1, 0xFF);
            case FieldType::u16:
                return number(offset, 2, 0xFFFF);
            case FieldType::u32:
                return number(offset, 4, 0xFFFFFFFF);
            case FieldType::real:
                return has(offset, 4) ? real(offset) : Json();
        }
        return {};
    }

  private:
    bool has(std::size_t offset, std::size_t size) const { return offset + size <= bytes_.size(); }

    static Json text(std::string field) {
        if (static_cast<unsigned char>(field[0]) == 0xFF) {
            return {};
        }
        field.resize(std::min(field.size(), field.find('\0')));
        return field;
    }

    static Json hex(const std::string& field) {
        std::string digits;
        for (const char c : field) {
            char pair[3];
            std::snprintf(pair, sizeof pair, "%02X", static_cast<unsigned char>(c));
            digits += pair;
        }
        return digits;
    }

    std::uint32_t raw(std::size_t offset, std::size_t size, bool big_endian) const {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < size; ++i) {
            const std::size_t at = offset + (big_endian ? i : size - 1 - i);
            value = value << 8 | static_cast<unsigned char>(bytes_[at]);
        }
        return value;
    }

    Json number(std::size_t offset, std::size_t size, std::uint32_t undefined) const {
        if (!has(offset, size)) {
            return {};
        }
        const std::uint32_t value = raw(offset, size, big_endian_);
        return value == undefined ? Json() : Json(value);
    }

    // Undefined reals are the integers' mark, or the bytes 00 00 FF 4E in files of either order.
    Json real(std::size_t offset) const {
        const std::uint32_t mark = raw(offset, 4, true);
        if (mark == 0xFFFFFFFF || mark == 0x0000FF4E) {
            return {};
        }
        const auto value = std::bit_cast<float>(raw(offset, 4, big_endian_));
        const auto turned = std::bit_cast<float>(raw(offset, 4, !big_endian_));
        return reals_in_any_order_ && !is_likely(value) && is_likely(turned) ? turned : value;
    }

    // Cineon files are big-endian, but some programs, this library among them, leave reals as they
    // are in memory. Only one order gives a number that means something.
    static bool is_likely(float value) {
        return value == 0 || (std::abs(value) > 1e-6F && std::abs(value) < 1e9F);
    }

    std::string bytes_;
    bool big_endian_;
    bool reals_in_any_order_;
};

Json read_sections(const FieldReader& reader, const std::vector<HeaderSection>& sections) {
    Json result = Json::object();
    for (const HeaderSection& section : sections) {
        Json fields = Json::object();
        for (const HeaderField& field : section.fields) {
            fields[field.name] = reader.value(section.offset, field);
        }
        result[section.name] = std::move(fields);
    }
    return result;
}

std::string shown(const Json& value) {
    return value.is_null() ? "undefined"
                           : value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void print_sections(const Json& sections) {
    for (const auto& [name, fields] : sections.items()) {
        std::printf("  %s\n", name.c_str());
        for (const auto& [field, value] : fields.items()) {
            std::printf("    %-32s %s\n", field.c_str(), shown(value).c_str());
        }
    }
}

void print_chunks(const Json& chunks, int indent) {
    for (const Json& chunk : chunks) {
        const std::string type = chunk.contains("type") ? " " + shown(chunk["type"]) : "";
        std::printf("%*s%s%s  size %s at %s\n", indent, "", shown(chunk["tag"]).c_str(),
                    type.c_str(), shown(chunk["size"]).c_str(), shown(chunk["offset"]).c_str());
        if (chunk.contains("fields")) {
            for (const auto& [field, value] : chunk["fields"].items()) {
                std::printf("%*s%-12s %s\n", indent + 4, "", field.c_str(), shown(value).c_str());
            }
        }
        if (chunk.contains("chunks")) {
            print_chunks(chunk["chunks"], indent + 2);
        }
    }
}

// A header that is another format's, or cut short, is not shown as if it were whole.
void check_start(const std::string& path, const std::string& bytes, std::size_t least,
                 std::initializer_list<std::string_view> magics) {
    for (const std::string_view magic : magics) {
        if (bytes.starts_with(magic)) {
            if (bytes.size() < least) {
                throw host::Error(path, TRELLIS_READ_ERROR);
            }
            return;
        }
    }
    throw host::Error(path, bytes.size() < least ? TRELLIS_READ_ERROR : TRELLIS_MAGIC_ERROR);
}

Json header_of(const std::string& path, const pic_format& format) {
    using namespace std::string_view_literals;
    Json header = {{"file", path}, {"format", format.code_string}};
    const std::string bytes = first_bytes(path);
    switch (format.type) {
        case TRELLIS_TYPE_DPX: {
            check_start(path, bytes, dpx_least, {"SDPX"sv, "XPDS"sv});
            const bool big = bytes.starts_with("SDPX");
            header["byte order"] = big ? "big-endian" : "little-endian";
            header["sections"] = read_sections(FieldReader(bytes, big, false), dpx_sections());
            break;
        }
        case TRELLIS_TYPE_CINEON:
            check_start(path, bytes, cineon_least, {"\x80\x2A\x5F\xD7"sv});
            header["sections"] = read_sections(FieldReader(bytes, true, true), cineon_sections());
            break;
        case TRELLIS_TYPE_PIXAR:
            check_start(path, bytes, pixar_least, {"\0\0\xE8\x80\0\0\0\0"sv});
            header["sections"] = read_sections(FieldReader(bytes, true, false), pixar_sections());
            break;
        case TRELLIS_TYPE_MAYA:
            check_start(path, bytes, iff_least, {"FOR4"sv, "CIMG"sv});
            header["chunks"] = iff_tree(path);
            break;
        default:
            throw host::Error(path, TRELLIS_NOT_IN_FORMAT_ERROR);
    }
    return header;
}

}  // namespace

void show_header(const std::string& path, bool json) {
    const pic_format& format = host::descriptor_of_file(path);
    const Json header = header_of(path, format);
    if (json) {
        std::puts(header.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
        return;
    }
    const std::string order =
        header.contains("byte order") ? ", " + header["byte order"].get<std::string>() : "";
    std::printf("%s: %s%s\n", path.c_str(), format.long_name, order.c_str());
    if (header.contains("chunks")) {
        print_chunks(header["chunks"], 2);
    } else {
        print_sections(header["sections"]);
    }
}

}  // namespace tool
