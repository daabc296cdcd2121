#pragma once

// Run-length encoding of film files. A line is a row of samples packed as if it were plain, and
// starts in a word of its own. A flag as large as a sample comes before each run: its lowest bit
// says whether one pixel follows that repeats or so many different ones, the others how many.

#include <cstdint>

#include "trellis/film.h"

#include "formats/dpx/samples.h"
#include "frame/file.h"

namespace trellis::dpx {

/// Decodes the lines of a file one after the other, in memory that no header can enlarge.
class RunReader {
  public:
    RunReader(InputFile& file, const trellis_film_info& info, std::uint64_t pixels_per_line);

    /// Decodes the next line and keeps the codes of the pixels first to first + count. Error::read
    /// when the line is not wholly in the file or its runs are longer than it is.
    Error read_line(std::uint64_t first, std::uint64_t count, std::uint16_t* codes);

  private:
    bool next(std::uint16_t& code);
    bool next_pixel(std::uint16_t* codes);
    bool fetch();

    static constexpr std::uint64_t least_codes = 48;  // whole units of any packing
    static constexpr std::uint64_t most_codes = 64 * least_codes;

    InputFile& file_;
    SamplePacking packing_;
    bool big_endian_;
    std::uint64_t padding_;
    std::uint64_t pixels_;
    std::size_t channels_;
    std::uint64_t line_start_;

    // The codes of the line that are unpacked: as many more each time as the line turns out long.
    std::uint64_t used_ = 0;
    std::uint64_t first_ = 0;
    std::uint64_t last_ = 0;
    std::uint64_t at_once_ = least_codes;
    std::uint16_t codes_[most_codes];
};

}  // namespace trellis::dpx
