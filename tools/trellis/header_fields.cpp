#include "header_fields.h"

namespace tool {

namespace {

using enum FieldType;

constexpr HeaderField dpx_file[] = {
    {"magic", 0, text, 4},
    {"offset to image data", 4, u32},
    {"version", 8, text, 8},
    {"file size", 16, u32},
    {"ditto key", 20, u32},
    {"generic section length", 24, u32},
    {"industry section length", 28, u32},
    {"user data length", 32, u32},
    {"file name", 36, text, 100},
    {"creation time", 136, text, 24},
    {"creator", 160, text, 100},
    {"project", 260, text, 200},
    {"rights", 460, text, 200},
    {"encryption key", 660, u32},
};

constexpr HeaderField dpx_image[] = {
    {"orientation", 0, u16},
    {"number of elements", 2, u16},
    {"pixels per line", 4, u32},
    {"lines per element", 8, u32},
};

constexpr HeaderField dpx_element[] = {
    {"data sign", 0, u32},
    {"reference low data code", 4, u32},
    {"reference low quantity", 8, real},
    {"reference high data code", 12, u32},
    {"reference high quantity", 16, real},
    {"descriptor", 20, u8},
    {"transfer characteristic", 21, u8},
    {"colorimetric specification", 22, u8},
    {"bit size", 23, u8},
    {"packing", 24, u16},
    {"encoding", 26, u16},
    {"offset to data", 28, u32},
    {"end-of-line padding", 32, u32},
    {"end-of-image padding", 36, u32},
    {"description", 40, text, 32},
};

constexpr HeaderField dpx_orientation[] = {
    {"x offset", 0, u32},
    {"y offset", 4, u32},
    {"x centre", 8, real},
    {"y centre", 12, real},
    {"x original size", 16, u32},
    {"y original size", 20, u32},
    {"source file name", 24, text, 100},
    {"source creation time", 124, text, 24},
    {"input device", 148, text, 32},
    {"input serial number", 180, text, 32},
    {"border validity, left", 212, u16},
    {"border validity, right", 214, u16},
    {"border validity, top", 216, u16},
    {"border validity, bottom", 218, u16},
    {"pixel aspect ratio, horizontal", 220, u32},
    {"pixel aspect ratio, vertical", 224, u32},
};

constexpr HeaderField dpx_film[] = {
    {"manufacturer", 0, text, 2},
    {"film type", 2, text, 2},
    {"offset in perforations", 4, text, 2},
    {"prefix", 6, text, 6},
    {"count", 12, text, 4},
    {"format", 16, text, 32},
    {"frame position", 48, u32},
    {"sequence length", 52, u32},
    {"held count", 56, u32},
    {"frame rate", 60, real},
    {"shutter angle", 64, real},
    {"frame identification", 68, text, 32},
    {"slate", 100, text, 100},
};

constexpr HeaderField dpx_television[] = {
    {"time code", 0, hex, 4},
    {"user bits", 4, hex, 4},
    {"interlace", 8, u8},
    {"field number", 9, u8},
    {"video standard", 10, u8},
    {"horizontal sample rate", 12, real},
    {"vertical sample rate", 16, real},
    {"frame rate", 20, real},
    {"time offset", 24, real},
    {"gamma", 28, real},
    {"black level", 32, real},
    {"black gain", 36, real},
    {"break point", 40, real},
    {"white level", 44, real},
    {"integration time", 48, real},
};

constexpr HeaderField cineon_file[] = {
    {"magic", 0, hex, 4},
    {"offset to image data", 4, u32},
    {"generic section length", 8, u32},
    {"industry section length", 12, u32},
    {"user data length", 16, u32},
    {"file size", 20, u32},
    {"version", 24, text, 8},
    {"file name", 32, text, 100},
    {"creation date", 132, text, 12},
    {"creation time", 144, text, 12},
};

constexpr HeaderField cineon_image[] = {
    {"orientation", 0, u8},         {"number of channels", 1, u8},  {"white point x", 228, real},
    {"white point y", 232, real},   {"red primary x", 236, real},   {"red primary y", 240, real},
    {"green primary x", 244, real}, {"green primary y", 248, real}, {"blue primary x", 252, real},
    {"blue primary y", 256, real},  {"label", 260, text, 200},
};

constexpr HeaderField cineon_channel[] = {
    {"designator 1", 0, u8},        {"designator 2", 1, u8},
    {"bits per pixel", 2, u8},      {"pixels per line", 4, u32},
    {"lines per image", 8, u32},    {"minimum data value", 12, real},
    {"minimum quantity", 16, real}, {"maximum data value", 20, real},
    {"maximum quantity", 24, real},
};

constexpr HeaderField cineon_format[] = {
    {"interleave", 0, u8},           {"packing", 1, u8},
    {"data signed", 2, u8},          {"image sense", 3, u8},
    {"end-of-line padding", 4, u32}, {"end-of-channel padding", 8, u32},
};

constexpr HeaderField cineon_origin[] = {
    {"x offset", 0, u32},
    {"y offset", 4, u32},
    {"file name", 8, text, 100},
    {"creation date", 108, text, 12},
    {"creation time", 120, text, 12},
    {"input device", 132, text, 64},
    {"model number", 196, text, 32},
    {"serial number", 228, text, 32},
    {"x input pitch", 260, real},
    {"y input pitch", 264, real},
    {"gamma", 268, real},
};

constexpr HeaderField cineon_film[] = {
    {"manufacturer", 0, u8},     {"film type", 1, u8},     {"offset in perforations", 2, u8},
    {"prefix", 4, u32},          {"count", 8, u32},        {"format", 12, text, 32},
    {"frame position", 44, u32}, {"frame rate", 48, real}, {"frame attribute", 52, text, 32},
    {"slate", 84, text, 200},
};

constexpr HeaderField pixar_header[] = {
    {"magic", 0, hex, 8},        {"version", 8, u16},      {"label", 10, text, 246},
    {"label pointer", 256, u32}, {"height", 584, u16},     {"width", 586, u16},
    {"tile height", 588, u16},   {"tile width", 590, u16}, {"channels", 592, u16},
    {"storage", 594, u16},       {"block size", 596, u16},
};

}  // namespace

std::vector<HeaderSection> dpx_sections() {
    std::vector<HeaderSection> sections = {{"file information", 0, dpx_file},
                                           {"image information", 768, dpx_image}};
    for (std::size_t i = 0; i < 8; ++i) {
        sections.push_back({"image element " + std::to_string(i + 1), 780 + 72 * i, dpx_element});
    }
    sections.push_back({"orientation", 1408, dpx_orientation});
    sections.push_back({"film", 1664, dpx_film});
    sections.push_back({"television", 1920, dpx_television});
    return sections;
}

std::vector<HeaderSection> cineon_sections() {
    std::vector<HeaderSection> sections = {{"file information", 0, cineon_file},
                                           {"image information", 192, cineon_image}};
    for (std::size_t i = 0; i < 8; ++i) {
        sections.push_back({"channel " + std::to_string(i + 1), 196 + 28 * i, cineon_channel});
    }
    sections.push_back({"data format", 680, cineon_format});
    sections.push_back({"image origination", 712, cineon_origin});
    sections.push_back({"film", 1024, cineon_film});
    return sections;
}

std::vector<HeaderSection> pixar_sections() {
    return {{"header", 0, pixar_header}};
}

}  // namespace tool
