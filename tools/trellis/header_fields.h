#pragma once

// The fields of the formats' headers, described once as data.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tool {

/// How the bytes of a field are to be read.
enum class FieldType { text, u8, u16, u32, real, hex };

struct HeaderField {
    const char* name;
    std::size_t offset;  // from the start of its section
    FieldType type;
    std::size_t size = 0;  // of text and hex fields
};

struct HeaderSection {
    std::string name;
    std::size_t offset;
    std::span<const HeaderField> fields;
};

/// The headers whose fields stand at fixed places.
std::vector<HeaderSection> dpx_sections();
std::vector<HeaderSection> cineon_sections();
std::vector<HeaderSection> pixar_sections();

}  // namespace tool
