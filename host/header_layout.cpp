#include "header_layout.h"

#include <array>

namespace trellis::host {

namespace {

constexpr FieldLayout gap(std::size_t size) {
    return {FieldType::gap, "", size};
}
constexpr FieldLayout text(std::string_view name, std::size_t size) {
    return {FieldType::text, name, size};
}
constexpr FieldLayout hex(std::string_view name, std::size_t size) {
    return {FieldType::hex, name, size};
}
constexpr FieldLayout u8(std::string_view name) {
    return {FieldType::u8, name, 1};
}
constexpr FieldLayout u16(std::string_view name) {
    return {FieldType::u16, name, 2};
}
constexpr FieldLayout u32(std::string_view name) {
    return {FieldType::u32, name, 4};
}
constexpr FieldLayout real(std::string_view name) {
    return {FieldType::real, name, 4};
}

constexpr std::size_t size_of(std::span<const FieldLayout> fields) {
    std::size_t size = 0;
    for (const FieldLayout& field : fields) {
        size += field.size;
    }
    return size;
}

constexpr std::size_t size_of(HeaderLayout sections) {
    std::size_t size = 0;
    for (const SectionLayout& section : sections) {
        size += static_cast<std::size_t>(section.times) * size_of(section.fields);
    }
    return size;
}

/// Where the first path field of this name begins.
constexpr std::size_t path_field(HeaderLayout sections, std::string_view name) {
    std::size_t offset = 0;
    for (const SectionLayout& section : sections) {
        std::size_t in_section = offset;
        for (const FieldLayout& field : section.fields) {
            if (field.name == name && field.size == path_field_size) {
                return in_section;
            }
            in_section += field.size;
        }
        offset += static_cast<std::size_t>(section.times) * size_of(section.fields);
    }
    return offset;
}

constexpr std::array dpx_file = {
    text("magic", 4),
    u32("offset to image data"),
    text("version", 8),
    u32("file size"),
    u32("ditto key"),
    u32("generic section length"),
    u32("industry section length"),
    u32("user data length"),
    text("file name", 100),
    text("creation time", 24),
    text("creator", 100),
    text("project", 200),
    text("rights", 200),
    u32("encryption key"),
    gap(104),
};

constexpr std::array dpx_image = {
    u16("orientation"),
    u16("number of elements"),
    u32("pixels per line"),
    u32("lines per element"),
};

constexpr std::array dpx_element = {
    u32("data sign"),
    u32("reference low data code"),
    real("reference low quantity"),
    u32("reference high data code"),
    real("reference high quantity"),
    u8("descriptor"),
    u8("transfer characteristic"),
    u8("colorimetric specification"),
    u8("bit size"),
    u16("packing"),
    u16("encoding"),
    u32("offset to data"),
    u32("end-of-line padding"),
    u32("end-of-image padding"),
    text("description", 32),
};

constexpr std::array dpx_reserved = {
    gap(52),
};

constexpr std::array dpx_orientation = {
    u32("x offset"),
    u32("y offset"),
    real("x centre"),
    real("y centre"),
    u32("x original size"),
    u32("y original size"),
    text("source file name", 100),
    text("source creation time", 24),
    text("input device", 32),
    text("input serial number", 32),
    u16("border validity, left"),
    u16("border validity, right"),
    u16("border validity, top"),
    u16("border validity, bottom"),
    u32("pixel aspect ratio, horizontal"),
    u32("pixel aspect ratio, vertical"),
    gap(28),
};

constexpr std::array dpx_film = {
    text("manufacturer", 2),
    text("film type", 2),
    text("offset in perforations", 2),
    text("prefix", 6),
    text("count", 4),
    text("format", 32),
    u32("frame position"),
    u32("sequence length"),
    u32("held count"),
    real("frame rate"),
    real("shutter angle"),
    text("frame identification", 32),
    text("slate", 100),
    gap(56),
};

constexpr std::array dpx_television = {
    hex("time code", 4),
    hex("user bits", 4),
    u8("interlace"),
    u8("field number"),
    u8("video standard"),
    gap(1),
    real("horizontal sample rate"),
    real("vertical sample rate"),
    real("frame rate"),
    real("time offset"),
    real("gamma"),
    real("black level"),
    real("black gain"),
    real("break point"),
    real("white level"),
    real("integration time"),
    gap(76),
};

constexpr std::array dpx_sections = std::to_array<SectionLayout>({
    {"file information", dpx_file},
    {"image information", dpx_image},
    {"image element", dpx_element, 8},
    {"", dpx_reserved},
    {"orientation", dpx_orientation},
    {"film", dpx_film},
    {"television", dpx_television},
});
static_assert(size_of(HeaderLayout(dpx_sections)) == 2048);

constexpr std::array cineon_file = {
    hex("magic", 4),
    u32("offset to image data"),
    u32("generic section length"),
    u32("industry section length"),
    u32("user data length"),
    u32("file size"),
    text("version", 8),
    text("file name", 100),
    text("creation date", 12),
    text("creation time", 12),
    gap(36),
};

constexpr std::array cineon_image = {
    u8("orientation"),
    u8("number of channels"),
    gap(2),
};

constexpr std::array cineon_channel = {
    u8("designator 1"),         u8("designator 2"),
    u8("bits per pixel"),       gap(1),
    u32("pixels per line"),     u32("lines per image"),
    real("minimum data value"), real("minimum quantity"),
    real("maximum data value"), real("maximum quantity"),
};

constexpr std::array cineon_colour = {
    real("white point x"),   real("white point y"),
    real("red primary x"),   real("red primary y"),
    real("green primary x"), real("green primary y"),
    real("blue primary x"),  real("blue primary y"),
    text("label", 200),      gap(28),
};

constexpr std::array cineon_format = {
    u8("interleave"),
    u8("packing"),
    u8("data signed"),
    u8("image sense"),
    u32("end-of-line padding"),
    u32("end-of-channel padding"),
    gap(20),
};

constexpr std::array cineon_origin = {
    u32("x offset"),
    u32("y offset"),
    text("source file name", 100),
    text("creation date", 12),
    text("creation time", 12),
    text("input device", 64),
    text("model number", 32),
    text("serial number", 32),
    real("x input pitch"),
    real("y input pitch"),
    real("gamma"),
    gap(40),
};

constexpr std::array cineon_generic_sections = std::to_array<SectionLayout>({
    {"file information", cineon_file},
    {"image information", cineon_image},
    {"channel", cineon_channel, 8},
    {"colour", cineon_colour},
    {"data format", cineon_format},
    {"image origination", cineon_origin},
});
static_assert(size_of(HeaderLayout(cineon_generic_sections)) == 1024);

constexpr std::array cineon_film = {
    u8("manufacturer"),
    u8("film type"),
    u8("offset in perforations"),
    gap(1),
    u32("prefix"),
    u32("count"),
    text("format", 32),
    u32("frame position"),
    real("frame rate"),
    text("frame attribute", 32),
    text("slate", 200),
    gap(740),
};

constexpr std::array cineon_industry_sections = std::to_array<SectionLayout>({
    {"film", cineon_film},
});
static_assert(size_of(HeaderLayout(cineon_industry_sections)) == 1024);

constexpr std::array pixar_header = {
    hex("magic", 8), u16("version"),    text("label", 246), u32("label pointer"), gap(324),
    u16("height"),   u16("width"),      u16("tile height"), u16("tile width"),    u16("channels"),
    u16("storage"),  u16("block size"), gap(162),
};

constexpr std::array pixar_sections = std::to_array<SectionLayout>({{"header", pixar_header}});
static_assert(size_of(HeaderLayout(pixar_sections)) == 760);

constexpr std::array dpx_paths = {path_field(dpx_sections, "file name"),
                                  path_field(dpx_sections, "source file name")};
constexpr std::array cineon_paths = {path_field(cineon_generic_sections, "file name"),
                                     path_field(cineon_generic_sections, "source file name")};

}  // namespace

HeaderLayout dpx_layout() {
    return dpx_sections;
}

HeaderLayout cineon_generic_layout() {
    return cineon_generic_sections;
}

HeaderLayout cineon_industry_layout() {
    return cineon_industry_sections;
}

HeaderLayout pixar_layout() {
    return pixar_sections;
}

std::size_t offset_of_field(HeaderLayout layout, std::string_view section_name,
                            std::string_view field_name) {
    std::size_t offset = 0;
    for (const SectionLayout& section : layout) {
        std::size_t in_section = offset;
        for (const FieldLayout& field : section.fields) {
            if (section.name == section_name && field.name == field_name) {
                return in_section;
            }
            in_section += field.size;
        }
        offset += static_cast<std::size_t>(section.times) * size_of(section.fields);
    }
    return offset;
}

std::span<const std::size_t> dpx_path_fields() {
    return dpx_paths;
}

std::span<const std::size_t> cineon_path_fields() {
    return cineon_paths;
}

}  // namespace trellis::host
