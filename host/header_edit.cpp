#include "trellis/header_edit.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <optional>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "trellis/errors.h"
#include "trellis/host.hpp"

#include "byte_order.h"
#include "bytes_of_file.h"
#include "field_writer.h"
#include "film.h"
#include "header_layout.h"
#include "streams.h"

namespace trellis::host {

namespace {

/// A part of a header, and where it is in the file.
struct Part {
    HeaderLayout layout;
    std::size_t begin;
};

struct Place {
    FieldLayout field;
    std::size_t offset;
};

struct FilmParts {
    std::vector<Part> parts;
    bool big_endian;
};

FilmParts parts_of(const std::string& path, const std::string& name) {
    constexpr std::size_t cineon_part = 1024;
    constexpr std::size_t file_information = 192;
    const std::string start = BytesOfFile(path).at(0, cineon_part);
    if (start.starts_with("SDPX") || start.starts_with("XPDS")) {
        return {{{dpx_layout(), 0}}, start.starts_with("SDPX")};
    }
    if (!start.starts_with("\x80\x2A\x5F\xD7") || start.size() < cineon_part) {
        throw Error(name, TRELLIS_NOT_IN_FORMAT_ERROR, "only DPX and Cineon headers are edited");
    }
    const std::uint32_t length = big_endian(start, 8, 4);
    const bool usual = length < file_information || length > INT32_MAX;
    return {
        {{cineon_generic_layout(), 0}, {cineon_industry_layout(), usual ? cineon_part : length}},
        true};
}

/// Every place of a field with this name, or with this one behind its section's.
std::vector<Place> places_of(const FilmParts& header, std::string_view wanted) {
    std::vector<Place> found;
    for (const Part& part : header.parts) {
        std::size_t offset = part.begin;
        for (const SectionLayout& section : part.layout) {
            for (int i = 1; i <= section.times; ++i) {
                std::string name(section.name);
                name += section.times > 1 ? " " + std::to_string(i) : "";
                for (const FieldLayout& field : section.fields) {
                    const bool named = field.type != FieldType::gap;
                    if (named &&
                        (wanted == field.name || wanted == name + "." + std::string(field.name))) {
                        found.push_back({field, offset});
                    }
                    offset += field.size;
                }
            }
        }
    }
    return found;
}

std::string bytes_of(std::uint32_t number, std::size_t size, bool big_endian) {
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i) {
        bytes += static_cast<char>(number >> (8 * i));
    }
    if (big_endian) {
        std::reverse(bytes.begin(), bytes.end());
    }
    return bytes;
}

template <class Number>
std::optional<Number> parsed(std::string_view text, int base) {
    Number number{};
    const char* const end = text.data() + text.size();
    const auto result = [&] {
        if constexpr (std::is_floating_point_v<Number>) {
            return std::from_chars(text.data(), end, number);
        } else {
            return std::from_chars(text.data(), end, number, base);
        }
    }();
    return result.ec == std::errc() && result.ptr == end ? std::optional(number) : std::nullopt;
}

std::optional<std::string> hex_bytes(std::string_view digits, std::size_t size) {
    std::string bytes;
    for (std::size_t i = 0; digits.size() == 2 * size && i < size; ++i) {
        const auto byte = parsed<std::uint8_t>(digits.substr(2 * i, 2), 16);
        if (!byte) {
            return {};
        }
        bytes += static_cast<char>(*byte);
    }
    return bytes.size() == size ? std::optional(bytes) : std::nullopt;
}

/// A value as a field has it; empty when it does not fit.
std::optional<std::string> encoded(const FieldLayout& field, const std::string& value,
                                   bool big_endian) {
    if (value == "undefined") {
        return std::string(field.size, '\xFF');
    }
    switch (field.type) {
        case FieldType::text: {
            std::string bytes = value;
            bytes.resize(std::max(field.size, value.size()), '\0');
            return bytes.size() == field.size ? std::optional(bytes) : std::nullopt;
        }
        case FieldType::hex: {
            // Bytes as they come, or with colons between them a number's, the highest first.
            std::string digits = value;
            const bool is_number = std::erase(digits, ':') > 0;
            auto bytes = hex_bytes(digits, field.size);
            if (bytes && is_number && !big_endian) {
                std::reverse(bytes->begin(), bytes->end());
            }
            return bytes;
        }
        case FieldType::real: {
            const auto real = parsed<float>(value, 10);
            return real ? std::optional(
                              bytes_of(std::bit_cast<std::uint32_t>(*real), field.size, big_endian))
                        : std::nullopt;
        }
        default: {
            const auto number = parsed<std::uint32_t>(value, 10);
            const bool fits = number && (field.size == 4 || *number >> (8 * field.size) == 0);
            return fits ? std::optional(bytes_of(*number, field.size, big_endian)) : std::nullopt;
        }
    }
}

struct Piece {
    std::size_t offset;
    std::string bytes;
};

/// What a header gets from one edit. Throws Error.
Piece piece_of(const FilmParts& header, const FieldEdit& edit, const std::string& name) {
    const std::vector<Place> places = places_of(header, edit.field);
    if (places.size() != 1) {
        const char* const why = places.empty()
                                    ? "no such field in this header: "
                                    : "several sections have this field, name one before a dot: ";
        throw Error(name, TRELLIS_NOT_IN_FORMAT_ERROR, why + edit.field);
    }
    const auto bytes = encoded(places[0].field, edit.value, header.big_endian);
    if (!bytes) {
        throw Error(name, TRELLIS_NOT_IN_FORMAT_ERROR,
                    "does not fit into \"" + edit.field + "\": " + edit.value);
    }
    return {places[0].offset, *bytes};
}

void write_pieces(int descriptor, const std::string& name, const std::vector<Piece>& pieces) {
    for (const auto& [offset, bytes] : pieces) {
        const ssize_t count =
            pwrite(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count != static_cast<ssize_t>(bytes.size())) {
            throw Error(name, TRELLIS_WRITE_ERROR, system_reason(TRELLIS_WRITE_ERROR, errno));
        }
    }
}

/// Whether two descriptions lead to the same pixels; what they say about colour may differ.
bool same_pixels(const trellis_film_info& a, const trellis_film_info& b) {
    const auto layout = [](const trellis_film_info& info) {
        return std::tuple(info.format, info.big_endian, info.width, info.height, info.channels,
                          std::string_view(info.channel_order), info.descriptor, info.bit_size,
                          info.packing, info.encoding, info.data_sign, info.orientation,
                          info.elements, info.private_layout, info.image_offset, info.line_size,
                          info.promised_size, info.present_size);
    };
    return layout(a) == layout(b);
}

class Descriptor {
  public:
    Descriptor(const std::string& path, const std::string& name, int flags, int code)
        : number_(open(path.c_str(), flags | O_CLOEXEC)) {
        if (number_ < 0) {
            throw Error(name, code, system_reason(code, errno));
        }
    }
    ~Descriptor() { close(number_); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const { return number_; }

  private:
    int number_;
};

std::vector<Piece> pieces_of(const std::string& path, const std::string& name,
                             std::span<const FieldEdit> edits) {
    const FilmParts header = parts_of(path, name);
    std::vector<Piece> pieces;
    for (const FieldEdit& edit : edits) {
        pieces.push_back(piece_of(header, edit, name));
    }
    return pieces;
}

}  // namespace

void write_fields(const std::string& path, const std::string& name,
                  std::span<const FieldEdit> edits) {
    const std::vector<Piece> pieces = pieces_of(path, name, edits);
    write_pieces(Descriptor(path, name, O_WRONLY, TRELLIS_OPEN_ERROR).number(), name, pieces);
}

void edit_fields(const std::string& path, const std::string& name,
                 std::span<const FieldEdit> edits) {
    const std::vector<Piece> pieces = pieces_of(path, name, edits);
    const trellis_film_info before = film_info(path);
    for (const auto& [offset, bytes] : pieces) {
        if (offset + bytes.size() > before.image_offset) {
            throw Error(name, TRELLIS_NOT_IN_FORMAT_ERROR, "the header ends before that field");
        }
    }
    write_pieces(Descriptor(path, name, O_WRONLY, TRELLIS_OPEN_ERROR).number(), name, pieces);
    if (!same_pixels(before, film_info(path))) {
        throw Error(name, TRELLIS_NOT_IN_FORMAT_ERROR, "the pixels would then be read otherwise");
    }
}

void edit_header(const std::string& path, std::span<const FieldEdit> edits) {
    pieces_of(path, path, edits);  // what is wrong with them shows before anything is copied
    SafeFile copy(path, true);
    copy_bytes(Descriptor(path, path, O_RDONLY, TRELLIS_OPEN_ERROR).number(), path,
               copy.descriptor(), path);
    edit_fields(copy.path(), path, edits);
    copy.keep();
}

}  // namespace trellis::host
