#include "formats/dpx/run_length.h"

#include <algorithm>

#include "formats/dpx/header_fields.h"

namespace trellis::dpx {

RunReader::RunReader(InputFile& file, const trellis_film_info& info, std::uint64_t pixels_per_line)
    : file_(file),
      packing_(packing_of(info)),
      big_endian_(info.big_endian == 1),
      padding_(info.line_padding == undefined_32 ? 0 : info.line_padding),
      pixels_(pixels_per_line),
      channels_(static_cast<std::size_t>(info.channels)),
      line_start_(info.image_offset) {}

// Unpacks what follows in the line. False where the file ends.
bool RunReader::fetch() {
    const ByteRange wanted = bytes_holding(packing_, last_, at_once_);
    if (failed(file_.seek(line_start_ + wanted.begin))) {
        return false;
    }
    const auto bytes = file_.window(static_cast<std::size_t>(wanted.end - wanted.begin));
    const std::uint64_t count = std::min(samples_in(packing_, bytes.size()), at_once_);
    unpack_codes(packing_, big_endian_, bytes.data(), last_, static_cast<std::size_t>(count),
                 codes_);
    first_ = last_;
    last_ += count;
    at_once_ = std::min(2 * at_once_, most_codes);
    return count > 0;
}

bool RunReader::next(std::uint16_t& code) {
    if (used_ == last_ && !fetch()) {
        return false;
    }
    code = codes_[used_++ - first_];
    return true;
}

bool RunReader::next_pixel(std::uint16_t* codes) {
    for (std::size_t i = 0; i < channels_; ++i) {
        if (!next(codes[i])) {
            return false;
        }
    }
    return true;
}

Error RunReader::read_line(std::uint64_t first, std::uint64_t count, std::uint16_t* codes) {
    used_ = first_ = last_ = 0;
    at_once_ = least_codes;
    for (std::uint64_t x = 0; x < pixels_;) {
        std::uint16_t flag = 0;
        if (!next(flag)) {
            return Error::read;
        }
        const std::uint64_t end = x + flag / 2;
        const bool repeats = flag % 2 == 1;
        if (end > pixels_) {
            return Error::read;
        }
        std::uint16_t pixel[4] = {};
        if (repeats && !next_pixel(pixel)) {
            return Error::read;
        }
        for (; x < end; ++x) {
            if (!repeats && !next_pixel(pixel)) {
                return Error::read;
            }
            if (x >= first && x - first < count) {
                std::copy_n(pixel, channels_, codes + (x - first) * channels_);
            }
        }
    }
    constexpr std::uint64_t word = 4;
    const std::uint64_t size = bytes_holding(packing_, 0, used_).end;
    line_start_ += (size + word - 1) / word * word + padding_;
    return Error::none;
}

}  // namespace trellis::dpx
