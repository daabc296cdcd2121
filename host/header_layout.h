#pragma once

// The layout of the formats' headers, described once as data: every byte from the first to the last
// is a field or a gap, in the order of the file. Offsets are sums, so none can be mistaken alone,
// and each header's size is asserted where it is described.

#include <cstddef>
#include <span>
#include <string_view>

namespace trellis::host {

/// How the bytes of a field are to be read. A gap is reserved, and nothing to show.
enum class FieldType { gap, text, hex, u8, u16, u32, real };

struct FieldLayout {
    FieldType type;
    std::string_view name;
    std::size_t size;
};

/// Neighbouring fields that belong together, `times` times in a row.
struct SectionLayout {
    std::string_view name;
    std::span<const FieldLayout> fields;
    int times = 1;
};

using HeaderLayout = std::span<const SectionLayout>;

/// A Cineon file may place the second of its two parts, the industry's, anywhere behind the first.
HeaderLayout dpx_layout();
HeaderLayout cineon_generic_layout();
HeaderLayout cineon_industry_layout();
HeaderLayout pixar_layout();

/// Where a field begins; of sections that are there several times, the field of the first.
std::size_t offset_of_field(HeaderLayout layout, std::string_view section, std::string_view field);

/// The fields that hold the path which a file was saved under: first that of the file, then that of
/// its source. All are this long.
inline constexpr std::size_t path_field_size = 100;
std::span<const std::size_t> dpx_path_fields();
std::span<const std::size_t> cineon_path_fields();

}  // namespace trellis::host
