#include "formats/dpx/samples_reader.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "trellis/film.h"

#include "formats/dpx/film_info.h"
#include "formats/dpx/pixels.h"
#include "formats/dpx/run_length.h"
#include "formats/dpx/samples.h"
#include "frame/memory.h"
#include "pixels/kernels.h"

namespace trellis::dpx {

namespace {

constexpr std::uint64_t batch_bytes = 1024 * 1024;

// Orientations are three choices: lines are columns, lines lie in the opposite order (for columns:
// pixels do), pixels do (for columns: lines do).
enum OrientationBit { lines_are_columns = 4, from_the_bottom = 2, from_the_right = 1 };

// A range of lines or of the pixels in them.
struct Span {
    std::uint64_t first;
    std::uint64_t count;
};

// The rectangle as the file has it.
struct Region {
    Span lines;
    Span pixels;
};

Span mirrored_if(bool mirrored, const Span& span, std::uint64_t size) {
    return mirrored ? Span{size - span.first - span.count, span.count} : span;
}

Error find_region(const trellis_film_info& info, const Target& target, Region& region) {
    const std::int64_t left = std::abs(std::int64_t{target.file_x});
    const std::int64_t bottom = std::abs(std::int64_t{target.file_y});
    const std::int64_t width = target.rectangle.width();
    const std::int64_t height = target.rectangle.height();
    if (left + width > info.width || bottom + height > info.height) {
        return Error::window;
    }
    const auto across = Span{static_cast<std::uint64_t>(left), static_cast<std::uint64_t>(width)};
    const auto upward =
        Span{static_cast<std::uint64_t>(bottom), static_cast<std::uint64_t>(height)};
    const Span columns = mirrored_if((info.orientation & from_the_right) != 0, across, info.width);
    const Span rows = mirrored_if((info.orientation & from_the_bottom) == 0, upward, info.height);
    const bool transposed = (info.orientation & lines_are_columns) != 0;
    region = transposed ? Region{columns, rows} : Region{rows, columns};
    return Error::none;
}

// A pixel of the host's buffers, and the way to the next one.
struct Place {
    std::int64_t x;
    std::int64_t y;
    std::int64_t step_x;
    std::int64_t step_y;
};

// Stores lines of unpacked samples in the host's buffers.
class SampleStore {
  public:
    SampleStore(const trellis_film_info& info, const Target& target)
        : target_(target),
          orientation_(info.orientation),
          channels_(static_cast<std::size_t>(info.channels)) {
        for (std::size_t i = 0; i < channels_; ++i) {
            switch (info.channel_order[i]) {
                case 'R':
                    place_[2] = static_cast<int>(i);
                    break;
                case 'G':
                    place_[1] = static_cast<int>(i);
                    break;
                case 'B':
                    place_[0] = static_cast<int>(i);
                    break;
                case 'A':
                    place_[3] = static_cast<int>(i);
                    break;
                default:  // luma
                    place_[0] = place_[1] = place_[2] = static_cast<int>(i);
            }
        }
    }

    // Where line `line` of the region begins, and the steps to the next of its pixels.
    Place place_of(std::int64_t line) const {
        const Rectangle& r = target_.rectangle;
        const bool leftward = (orientation_ & from_the_right) != 0;
        const bool upward = (orientation_ & from_the_bottom) != 0;
        Place place = {leftward ? r.x1 : r.x0, upward ? r.y0 : r.y1, leftward ? -1 : 1,
                       upward ? 1 : -1};
        if ((orientation_ & lines_are_columns) != 0) {
            place.x += line * place.step_x;
            place.step_x = 0;
        } else {
            place.y += line * place.step_y;
            place.step_y = 0;
        }
        return place;
    }

    // Line `line` of the region.
    void store(std::int64_t line, const std::uint16_t* samples, std::size_t count) const {
        const auto [x, y, step_x, step_y] = place_of(line);
        if (std::uint16_t* colour = target_.colour.pixel(x, y)) {
            if (step_x == 1 && std::min({place_[0], place_[1], place_[2]}) >= 0) {
                store_row(samples, colour, count);
            } else {
                store_colours(samples, colour, step_x, step_y, count);
            }
        }
        if (std::uint16_t* matte = target_.matte.pixel(x, y)) {
            const auto step = step_x + step_y * target_.matte.pitch_bytes() / 2;
            store_channel(samples, place_[3], matte, step, count);
        }
    }

  private:
    // The colours of a line that is a row.
    void store_row(const std::uint16_t* samples, std::uint16_t* colour, std::size_t count) const {
        const std::uint16_t* blue = samples + place_[0];
        const std::uint16_t* green = samples + place_[1];
        const std::uint16_t* red = samples + place_[2];
        for (std::size_t i = 0; i < count; ++i, colour += 3) {
            colour[0] = blue[i * channels_];
            colour[1] = green[i * channels_];
            colour[2] = red[i * channels_];
        }
    }

    void store_colours(const std::uint16_t* samples, std::uint16_t* colour, std::int64_t step_x,
                       std::int64_t step_y, std::size_t count) const {
        const auto step = step_x * 3 + step_y * target_.colour.pitch_bytes() / 2;
        for (std::size_t k = 0; k < 3; ++k) {
            store_channel(samples, place_[k], colour + k, step, count);
        }
    }

    // A line's samples of one channel, or zeros, `step` samples apart.
    void store_channel(const std::uint16_t* samples, int place, std::uint16_t* to,
                       std::int64_t step, std::size_t count) const {
        for (std::size_t i = 0; i < count; ++i) {
            to[static_cast<std::int64_t>(i) * step] =
                place < 0 ? std::uint16_t{0}
                          : samples[i * channels_ + static_cast<std::size_t>(place)];
        }
    }

    const Target& target_;
    int orientation_;
    std::size_t channels_;
    int place_[4] = {-1, -1, -1, -1};  // of colour samples 0 to 2 and the matte in a pixel; none
};

// The layout of lines that can be unpacked where they go: rows of the host's, read from the left,
// of pixels that the row kernels know. `none` for all others.
Layout row_layout(const trellis_film_info& info) {
    using enum pixels::FilmLayout;
    constexpr struct {
        SamplePacking packing;
        const char* order;
        Layout little;
        Layout big;
    } layouts[] = {
        {SamplePacking::bytes, "RGB", colour8, colour8},
        {SamplePacking::bytes, "RGBA", cutout8, cutout8},
        {SamplePacking::words10_top, "RGB", colour10_little, colour10},
        {SamplePacking::words12_top, "RGB", colour12_little, colour12},
        {SamplePacking::words12_top, "RGBA", cutout12_little, cutout12},
        {SamplePacking::words16, "RGB", colour16_little, colour16},
        {SamplePacking::words16, "RGBA", cutout16_little, cutout16},
        {SamplePacking::cutout10, "RGBA", cutout10, cutout10},
        {SamplePacking::mask10, "A", mask10, mask10},
    };
    const bool rows = (info.orientation & (lines_are_columns | from_the_right)) == 0;
    for (const auto& known : layouts) {
        if (rows && known.packing == packing_of(info) &&
            std::strcmp(known.order, info.channel_order) == 0) {
            return info.big_endian == 1 ? known.big : known.little;
        }
    }
    return none;
}

// Unpacks lines of the region, scales them and stores them.
class LineUnpacker {
  public:
    LineUnpacker(const trellis_film_info& info, const Span& pixels, const Target& target)
        : info_(info),
          target_(target),
          store_(info, target),
          packing_(packing_of(info)),
          layout_(row_layout(info)),
          first_sample_(pixels.first * static_cast<std::uint64_t>(info.channels)),
          pixels_(static_cast<std::size_t>(pixels.count)) {}

    Error allocate() {
        return layout_ == Layout::none ? samples_.allocate(sample_count()) : Error::none;
    }

    // The bytes of a line that are needed.
    ByteRange bytes() const { return bytes_holding(packing_, first_sample_, sample_count()); }

    // `count` lines from `first` on, `pitch` bytes apart. The host's rows are stored in ascending
    // memory, which the processor sees coming: the file has them from the top, mostly.
    void unpack(std::uint64_t first, std::uint64_t count, const std::uint8_t* lines,
                std::uint64_t pitch) {
        const bool downward = (info_.orientation & (lines_are_columns | from_the_bottom)) == 0;
        for (std::uint64_t k = 0; k < count; ++k) {
            const std::uint64_t i = downward ? count - 1 - k : k;
            unpack_line(static_cast<std::int64_t>(first + i), lines + i * pitch);
        }
    }

  private:
    std::size_t sample_count() const { return pixels_ * static_cast<std::size_t>(info_.channels); }

    void unpack_line(std::int64_t line, const std::uint8_t* bytes) {
        if (layout_ != Layout::none) {
            const Place place = store_.place_of(line);
            pixels::kernels().unpack_film(layout_, pixels::FilmCodes::scaled, bytes, pixels_,
                                          target_.colour.pixel(place.x, place.y),
                                          target_.matte.pixel(place.x, place.y));
            return;
        }
        unpack_codes(packing_, info_.big_endian == 1, bytes, first_sample_, sample_count(),
                     samples_.data());
        scale_codes(info_.bit_size, samples_.data(), sample_count());
        store_.store(line, samples_.data(), pixels_);
    }

    const trellis_film_info& info_;
    const Target& target_;
    SampleStore store_;
    SamplePacking packing_;
    Layout layout_;
    std::uint64_t first_sample_;
    std::size_t pixels_;
    Block<std::uint16_t> samples_;
};

Error load_region(InputFile& file, const trellis_film_info& info, const Region& region,
                  const Target& target) {
    LineUnpacker unpacker(info, region.pixels, target);
    const ByteRange part = unpacker.bytes();

    // What of the region is in the file, so that no header can ask for memory for the rest. The
    // last line of a file may lack what is beyond its samples.
    const std::uint64_t line_size = info.line_size;
    if (info.image_offset + part.end > info.file_size) {
        return Error::read;
    }
    const std::uint64_t held = (info.file_size - info.image_offset - part.end) / line_size + 1;
    const std::uint64_t lines =
        held > region.lines.first ? std::min(held - region.lines.first, region.lines.count) : 0;

    const std::uint64_t part_size = part.end - part.begin;
    const bool whole = part_size > line_size / 2;
    const std::uint64_t pitch = whole ? line_size : part_size;
    const std::uint64_t batch_lines =
        whole ? std::clamp<std::uint64_t>(batch_bytes / pitch, 1, std::max<std::uint64_t>(lines, 1))
              : 1;
    Block<std::uint8_t> batch;
    TRELLIS_TRY(batch.allocate(batch_lines * pitch));
    TRELLIS_TRY(unpacker.allocate());
    for (std::uint64_t line = 0; line < lines; line += batch_lines) {
        const std::uint64_t count = std::min(batch_lines, lines - line);
        TRELLIS_TRY(
            file.seek(info.image_offset + (region.lines.first + line) * line_size + part.begin));
        TRELLIS_TRY(
            file.read(batch.data(), static_cast<std::size_t>((count - 1) * pitch + part_size)));
        unpacker.unpack(line, count, batch.data(), pitch);
    }
    return lines < region.lines.count ? Error::read : Error::none;
}

// A run-length encoded file says nowhere where its lines are: those before the region are decoded
// for their length.
Error load_runs(InputFile& file, const trellis_film_info& info, const Region& region,
                const Target& target) {
    const bool columns = (info.orientation & lines_are_columns) != 0;
    const auto pixels = static_cast<std::size_t>(region.pixels.count);
    const std::size_t count = pixels * static_cast<std::size_t>(info.channels);
    Block<std::uint16_t> samples;
    TRELLIS_TRY(samples.allocate(count));
    TRELLIS_TRY(file.seek(info.image_offset));
    RunReader reader(file, info, columns ? info.height : info.width);
    for (std::uint64_t line = 0; line < region.lines.first; ++line) {
        TRELLIS_TRY(reader.read_line(0, 0, nullptr));
    }
    const SampleStore store(info, target);
    for (std::uint64_t line = 0; line < region.lines.count; ++line) {
        TRELLIS_TRY(reader.read_line(region.pixels.first, pixels, samples.data()));
        scale_codes(info.bit_size, samples.data(), count);
        store.store(static_cast<std::int64_t>(line), samples.data(), pixels);
    }
    return Error::none;
}

}  // namespace

Error load_samples(const char* name, const Target& target, const Limits& limits) {
    InputFile file;
    TRELLIS_TRY(file.open(name));
    trellis_film_info info{};
    TRELLIS_TRY(describe_film(file, info));
    if (info.elements > 1) {
        return Error::element_count;
    }
    if (*info.samples_reason != '\0') {
        return Error::unsupported;
    }
    TRELLIS_TRY(limits.check(info.width, info.height, target.pixel_bytes()));
    if (!target.rectangle.empty()) {
        Region region{};
        TRELLIS_TRY(find_region(info, target, region));
        const auto load = info.encoding == 1 ? load_runs : load_region;
        TRELLIS_TRY(load(file, info, region, target));
    }
    return file.close();
}

}  // namespace trellis::dpx
