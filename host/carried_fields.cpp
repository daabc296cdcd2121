#include "carried_fields.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "film.h"

namespace trellis::host {

namespace {

struct FieldName {
    std::string_view section;
    std::string_view field;
};

/// What the field of the other format can hold.
struct Room {
    std::size_t characters;  // of a text
    std::uint32_t greatest;  // number, 0 for a text or a real
};

struct Pair {
    FieldName dpx;
    Room in_dpx;
    FieldName cineon;
    Room in_cineon;
};

constexpr std::uint32_t any_u32 = 0xFFFFFFFE;  // all ones are undefined
constexpr std::string_view orientation = "orientation";
constexpr std::string_view origination = "image origination";

constexpr Pair pairs[] = {
    {{orientation, "x offset"}, {0, any_u32}, {origination, "x offset"}, {0, any_u32}},
    {{orientation, "y offset"}, {0, any_u32}, {origination, "y offset"}, {0, any_u32}},
    {{orientation, "source file name"}, {100, 0}, {origination, "source file name"}, {100, 0}},
    {{orientation, "input device"}, {32, 0}, {origination, "input device"}, {64, 0}},
    {{orientation, "input serial number"}, {32, 0}, {origination, "serial number"}, {32, 0}},
    {{"television", "gamma"}, {0, 0}, {origination, "gamma"}, {0, 0}},
    {{"film", "manufacturer"}, {2, 0}, {"film", "manufacturer"}, {0, 99}},
    {{"film", "film type"}, {2, 0}, {"film", "film type"}, {0, 99}},
    {{"film", "offset in perforations"}, {2, 0}, {"film", "offset in perforations"}, {0, 99}},
    {{"film", "prefix"}, {6, 0}, {"film", "prefix"}, {0, 999999}},
    {{"film", "count"}, {4, 0}, {"film", "count"}, {0, 9999}},
    {{"film", "format"}, {32, 0}, {"film", "format"}, {32, 0}},
    {{"film", "frame position"}, {0, any_u32}, {"film", "frame position"}, {0, any_u32}},
    {{"film", "frame rate"}, {0, 0}, {"film", "frame rate"}, {0, 0}},
    {{"film", "frame identification"}, {32, 0}, {"film", "frame attribute"}, {32, 0}},
    {{"film", "slate"}, {100, 0}, {"film", "slate"}, {200, 0}},
};

std::string shortest(float real) {
    std::array<char, 32> digits{};
    return {digits.data(), std::to_chars(digits.begin(), digits.end(), real).ptr};
}

/// Digits are numbers in one format, and texts filled with zeros in the other.
std::optional<std::string> as_number(const std::string& text, std::uint32_t greatest) {
    std::uint32_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    const bool fits = error == std::errc() && rest == end && number <= greatest;
    return fits ? std::optional(std::to_string(number)) : std::nullopt;
}

std::optional<std::string> as_digits(std::uint32_t number, std::size_t characters) {
    const std::string digits = std::to_string(number);
    return digits.size() <= characters
               ? std::optional(std::string(characters - digits.size(), '0') + digits)
               : std::nullopt;
}

std::optional<std::string> value_for(const HeaderField::Value& value, const Room& room) {
    if (const auto* text = std::get_if<std::string>(&value); text != nullptr && !text->empty()) {
        return room.greatest != 0 ? as_number(*text, room.greatest)
                                  : std::optional(text->substr(0, room.characters));
    }
    if (const auto* number = std::get_if<std::uint32_t>(&value)) {
        return room.characters != 0       ? as_digits(*number, room.characters)
               : *number <= room.greatest ? std::optional(std::to_string(*number))
                                          : std::nullopt;
    }
    if (const auto* real = std::get_if<float>(&value)) {
        return shortest(*real);
    }
    return {};
}

void add(std::vector<FieldEdit>& edits, const FieldName& name, std::string value) {
    edits.push_back({std::string(name.section) + "." + std::string(name.field), std::move(value)});
}

constexpr std::size_t date_size = 10;  // "2026:11:25"
constexpr std::size_t time_size = 8;   // "01:02:03"
constexpr std::size_t dpx_time_size = 24;
constexpr FieldName dpx_time = {orientation, "source creation time"};
constexpr FieldName cineon_date = {origination, "creation date"};
constexpr FieldName cineon_time = {origination, "creation time"};

const std::string* text_at(const Header& header, const FieldName& name) {
    const HeaderField::Value* value = find_value(header, name.section, name.field);
    return value == nullptr ? nullptr : std::get_if<std::string>(value);
}

// "2026:11:25:01:02:03UTC" is one field in DPX and two in Cineon.
void carry_time(std::vector<FieldEdit>& edits, const Header& header, bool from_dpx) {
    const std::string* whole = text_at(header, dpx_time);
    if (from_dpx && whole != nullptr && whole->size() > date_size + time_size) {
        add(edits, cineon_date, whole->substr(0, date_size));
        add(edits, cineon_time, whole->substr(date_size + 1, 12));
    }
    const std::string* date = text_at(header, cineon_date);
    const std::string* time = text_at(header, cineon_time);
    if (!from_dpx && date != nullptr && time != nullptr && !date->empty() && !time->empty()) {
        add(edits, dpx_time, (*date + ":" + *time).substr(0, dpx_time_size));
    }
}

}  // namespace

std::vector<FieldEdit> fields_for_other_format(const Header& header) {
    const bool from_dpx = header.format->code == "DPX";
    std::vector<FieldEdit> edits;
    for (const Pair& pair : pairs) {
        const FieldName& from = from_dpx ? pair.dpx : pair.cineon;
        const HeaderField::Value* value = find_value(header, from.section, from.field);
        if (value == nullptr) {
            continue;
        }
        if (auto carried = value_for(*value, from_dpx ? pair.in_cineon : pair.in_dpx)) {
            add(edits, from_dpx ? pair.cineon : pair.dpx, std::move(*carried));
        }
    }
    carry_time(edits, header, from_dpx);
    return edits;
}

}  // namespace trellis::host
