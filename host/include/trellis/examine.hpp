#pragma once

/// What only reading every byte of a file shows.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "trellis/host.hpp"

namespace trellis::host {

/// A number of 128 bits that is as good as never the same for different bytes, unless somebody
/// wants it to be.
struct Checksum {
    std::uint64_t high = 0;  ///< upper half
    std::uint64_t low = 0;   ///< lower half

    /// Both halves.
    bool operator==(const Checksum&) const = default;

    /// 32 hexadecimal digits in lower case.
    std::string text() const;

    /// The reverse; empty for another text.
    static std::optional<Checksum> parse(const std::string& text);
};

/// What `examine` has seen.
struct Examination {
    Description description;
    std::uint64_t file_size = 0;

    /// Of the picture as the file stores it: equal for frames that are the same, if they are stored
    /// in the same way. Of run-length encoded film files and other formats, of the samples.
    Checksum stored;

    /// All samples are 0, or in 10-bit film files all codes the same, and no more than black (95).
    bool black = false;

    /// Fields of the header that say otherwise than the file, one sentence each.
    std::vector<std::string> contradictions;
};

/// Reads a whole file, once. Throws Error for one that cannot be read, or not be loaded although
/// nothing of it is missing.
Examination examine(const std::string& path);

/// A checksum of what a picture shows, whatever the format and the file's header: XXH3 with 128
/// bits over width, height and samples a pixel (32-bit words), then the rows from the top, the
/// pixels of a row from the left, of each pixel red, green, blue and, in a cutout, the matte (in a
/// mask it alone), as 16-bit words from 0 to 16383. All words are little-endian. Throws Error.
Checksum pixel_checksum(const std::string& path);

}  // namespace trellis::host
