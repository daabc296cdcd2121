#include "formats/dpx/lines.h"

#include <algorithm>
#include <cstring>

#include "trellis/bytes.h"
#include "trellis/settings.h"

#include "frame/memory.h"
#include "pixels/kernels.h"

namespace trellis::dpx {

namespace {

// Lines are read and written many at a time: the more pages of a file a system gets in one
// transfer, the less it spends on each.
constexpr std::uint64_t batch_bytes = 1024 * 1024;

// Columns are transposed into rows (and back) many at a time, so that each piece of a row fills a
// few cache lines; and in steps of this many rows, a cache line of each column. Lines that are
// longer than that allows for get more memory, within bounds.
constexpr std::uint64_t transposed_columns = 128;
constexpr std::uint64_t most_transposed_bytes = 4 * batch_bytes;
constexpr std::size_t transposed_rows = 16;

// A save does not keep more lines than these from the file, so that a full disk shows soon.
constexpr std::uint64_t most_saved_lines = 128;

// The host hears of each line just before it is packed; of columns, before a few of them are, since
// one alone would take from every row of the picture a piece smaller than a cache line.
constexpr std::size_t columns_at_once = 32;

// The rectangle as the file walks through it. Line k of the file is row y1 − k from left to right,
// or column x1 − k from the top row downward.
struct Walk {
    Walk(const Rectangle& wanted, Orientation orientation)
        : rectangle(wanted),
          upright(orientation == Orientation::upright),
          lines(upright ? wanted.height() : wanted.width()),
          pixels(upright ? wanted.width() : wanted.height()) {}

    std::uint64_t lines_per_batch(std::uint64_t line_size) const {
        const std::uint64_t size = std::max<std::uint64_t>(line_size, 1);
        const std::uint64_t fitting = std::max<std::uint64_t>(batch_bytes / size, 1);
        const std::uint64_t allowed = std::min(most_transposed_bytes / size, transposed_columns);
        return upright ? fitting : std::max(fitting, allowed);
    }

    Rectangle rectangle;
    bool upright;
    std::int64_t lines;
    std::int64_t pixels;
};

// Packs lines of the walk, `pixels` each, one after the other.
class LinePacker {
  public:
    LinePacker(const Walk& walk, const Source& source)
        : walk_(walk), source_(source), size_(saved_pixel_size(source)) {}

    std::size_t line_size() const { return size_ * static_cast<std::size_t>(walk_.pixels); }

    Error pack(std::int64_t first, std::size_t count, std::uint8_t* lines) {
        if (!walk_.upright) {
            return pack_columns(first, count, lines);
        }
        for (std::size_t i = 0; i < count; ++i) {
            pack_row(walk_.rectangle.x0, walk_.rectangle.y1 - first - static_cast<std::int64_t>(i),
                     static_cast<std::size_t>(walk_.pixels), lines + i * line_size());
        }
        return Error::none;
    }

  private:
    void pack_row(std::int64_t x, std::int64_t y, std::size_t count, std::uint8_t* bytes) const {
        pack_pixels(source_, source_.colour.pixel(x, y), source_.matte.pixel(x, y), count, bytes);
    }

    // Pieces of rows are packed first, then transposed. The leftmost column is the last line.
    Error pack_columns(std::int64_t first, std::size_t count, std::uint8_t* lines) {
        const std::size_t piece = count * size_;
        if (scratch_.size() < transposed_rows * piece) {
            TRELLIS_TRY(scratch_.allocate(transposed_rows * piece));
        }
        const std::int64_t left = walk_.rectangle.x1 - first - static_cast<std::int64_t>(count) + 1;
        const auto pitch = static_cast<std::ptrdiff_t>(line_size());
        std::uint8_t* last_line = lines + static_cast<std::ptrdiff_t>(count - 1) * pitch;
        for (std::int64_t y = walk_.rectangle.y1; y >= walk_.rectangle.y0;) {
            std::size_t rows = 0;
            for (; rows < transposed_rows && y >= walk_.rectangle.y0; ++rows, --y) {
                pack_row(left, y, count, scratch_.data() + rows * piece);
            }
            pixels::kernels().transpose(size_, scratch_.data(), static_cast<std::ptrdiff_t>(piece),
                                        last_line, -pitch, rows, count);
            last_line += rows * size_;
        }
        return Error::none;
    }

    const Walk& walk_;
    const Source& source_;
    std::size_t size_;
    Block<std::uint8_t> scratch_;
};

// Lets the host hear of each of the lines first to first + count, and asks whether to go on.
// Returns how many of them are to be packed; `stop` is the host's answer when it ends the save.
std::size_t ask_host(std::int64_t first, std::size_t count, std::int64_t lines, int& stop) {
    for (std::size_t i = 0; i < count; ++i) {
        // The only line of a picture has no fraction: the hook then gets what 0 ÷ 0 gives.
        occaisional_update_progress_trellis_(
            static_cast<float>(first + static_cast<std::int64_t>(i)) /
            static_cast<float>(lines - 1));
        stop = escape_test_utils_pic();
        if (stop != 0) {
            return i;
        }
    }
    return count;
}

// Stores decoded lines of the walk.
class LineUnpacker {
  public:
    LineUnpacker(const Walk& walk, Layout layout, Colour16 colour, Matte16 matte)
        : walk_(walk), layout_(layout), colour_(colour), matte_(matte) {}

    // Lines first to first + count, `pitch` bytes apart.
    Error unpack(std::int64_t first, std::size_t count, const std::uint8_t* lines,
                 std::size_t pitch) {
        if (!walk_.upright) {
            return unpack_columns(first, count, lines, static_cast<std::ptrdiff_t>(pitch));
        }
        // From the lowest row upward, in ascending memory.
        for (std::size_t i = count; i-- > 0;) {
            unpack_row(lines + i * pitch, static_cast<std::size_t>(walk_.pixels),
                       walk_.rectangle.x0,
                       walk_.rectangle.y1 - first - static_cast<std::int64_t>(i));
        }
        return Error::none;
    }

    // Every line from `first` on is zero.
    void clear_from(std::int64_t first) const {
        Rectangle rest = walk_.rectangle;
        (walk_.upright ? rest.y1 : rest.x1) -= first;
        if (rest.empty()) {
            return;
        }
        const auto count = static_cast<std::size_t>(rest.width());
        for (std::int64_t y = rest.y1; y >= rest.y0; --y) {
            clear_pixels(count, colour_.pixel(rest.x0, y), matte_.pixel(rest.x0, y));
        }
    }

  private:
    void unpack_row(const std::uint8_t* bytes, std::size_t count, std::int64_t x,
                    std::int64_t y) const {
        pixels::kernels().unpack_film(layout_, pixels::FilmCodes::kept, bytes, count,
                                      colour_.pixel(x, y), matte_.pixel(x, y));
    }

    // The lines are transposed into pieces of rows first. The leftmost column is the last line.
    Error unpack_columns(std::int64_t first, std::size_t count, const std::uint8_t* lines,
                         std::ptrdiff_t pitch) {
        const std::size_t size = pixel_size(layout_);
        const std::size_t piece = count * size;
        if (scratch_.size() < transposed_rows * piece) {
            TRELLIS_TRY(scratch_.allocate(transposed_rows * piece));
        }
        const std::int64_t left = walk_.rectangle.x1 - first - static_cast<std::int64_t>(count) + 1;
        const std::uint8_t* last_line = lines + static_cast<std::ptrdiff_t>(count - 1) * pitch;
        for (std::int64_t y = walk_.rectangle.y1; y >= walk_.rectangle.y0;) {
            const auto rows = static_cast<std::size_t>(
                std::min<std::int64_t>(transposed_rows, y - walk_.rectangle.y0 + 1));
            pixels::kernels().transpose(size, last_line, -pitch, scratch_.data(),
                                        static_cast<std::ptrdiff_t>(piece), count, rows);
            last_line += rows * size;
            for (std::size_t row = 0; row < rows; ++row, --y) {
                unpack_row(scratch_.data() + row * piece, count, left, y);
            }
        }
        return Error::none;
    }

    const Walk& walk_;
    Layout layout_;
    Colour16 colour_;
    Matte16 matte_;
    Block<std::uint8_t> scratch_;
};

// Reads the part of each file line that a load wants: with the rest of the line, in one go with its
// neighbours, when the part is most of it, else alone.
class LineReader {
  public:
    LineReader(InputFile& file, std::uint64_t start, std::uint64_t line_size, std::uint64_t skip,
               std::uint64_t part_size)
        : file_(file),
          start_(start),
          line_size_(line_size),
          whole_(part_size > line_size / 2),
          skip_(skip),
          pitch_(whole_ ? line_size : part_size) {}

    // Bytes from the part of one line to that of the next, and of the first from the start.
    std::uint64_t pitch() const { return pitch_; }
    std::uint64_t offset() const { return whole_ ? skip_ : 0; }

    // Lines that the file ends before, or within, are zero.
    Error read(std::uint64_t first, std::size_t count, std::uint8_t* lines) {
        const auto size = static_cast<std::size_t>(pitch_);
        if (whole_) {
            return read_at(first, size * count, lines);
        }
        for (std::size_t i = 0; i < count; ++i) {
            TRELLIS_TRY(read_at(first + i, size, lines + i * size));
        }
        return Error::none;
    }

  private:
    Error read_at(std::uint64_t line, std::size_t size, std::uint8_t* bytes) {
        const std::uint64_t position = start_ + line * line_size_ + (whole_ ? 0 : skip_);
        if (failed(file_.seek(position))) {
            return Error::allocation;  // as for the first line
        }
        std::size_t got = 0;
        TRELLIS_TRY(file_.read_what_is_there(bytes, size, got));
        got -= got % static_cast<std::size_t>(pitch_);
        std::memset(bytes + got, 0, size - got);
        return Error::none;
    }

    InputFile& file_;
    std::uint64_t start_;
    std::uint64_t line_size_;
    bool whole_;
    std::uint64_t skip_;
    std::uint64_t pitch_;
};

}  // namespace

Error pack_lines(OutputFile& file, const Source& source, Orientation orientation) {
    const Walk walk(source.rectangle, orientation);
    if (walk.pixels < 0) {
        return Error::allocation;  // there is no line buffer of negative size
    }
    if (walk.lines <= 0) {
        return file.flush();
    }
    LinePacker packer(walk, source);
    const std::size_t line_size = packer.line_size();
    const auto batch_lines =
        static_cast<std::size_t>(std::min({walk.lines_per_batch(line_size), most_saved_lines,
                                           static_cast<std::uint64_t>(walk.lines)}));
    const std::size_t at_once = walk.upright ? 1 : columns_at_once;
    Block<std::uint8_t> batch;
    TRELLIS_TRY(batch.allocate(batch_lines * line_size));
    // What counts as the line before the first.
    std::memset(batch.data() + (batch_lines - 1) * line_size, 0, line_size);

    int stop = 0;
    for (std::int64_t first = 0; first < walk.lines && stop == 0;) {
        const auto rest = static_cast<std::size_t>(walk.lines - first);
        const std::size_t count = std::min(batch_lines, rest);
        std::size_t packed = 0;
        while (packed < count && stop == 0) {
            const std::int64_t next = first + static_cast<std::int64_t>(packed);
            const std::size_t wanted =
                ask_host(next, std::min(at_once, count - packed), walk.lines, stop);
            TRELLIS_TRY(packer.pack(next, wanted, batch.data() + packed * line_size));
            packed += wanted;
        }
        if (stop != 0) {
            const std::size_t before = (packed > 0 ? packed : batch_lines) - 1;
            std::memmove(batch.data() + packed * line_size, batch.data() + before * line_size,
                         line_size);
            ++packed;
        }
        TRELLIS_TRY(file.write(batch.data(), packed * line_size));
        TRELLIS_TRY(file.flush());
        first += static_cast<std::int64_t>(count);
    }
    return static_cast<Error>(stop);
}

Error unpack_lines(InputFile& file, const LineRegion& region, const Target& target,
                   Orientation orientation) {
    const Walk walk(target.rectangle, orientation);
    LineUnpacker unpacker(walk, region.layout, target.colour, target.matte);
    const std::uint64_t size = pixel_size(region.layout);
    const std::uint64_t line_size = region.pixels_per_line * size;
    if (line_size == 0) {
        unpacker.clear_from(0);
        return Error::none;
    }
    if (region.skip_lines > (INT64_MAX - file.position()) / line_size) {
        return Error::allocation;
    }
    const std::uint64_t start = file.position() + region.skip_lines * line_size;
    if (failed(file.seek(start))) {
        return Error::allocation;
    }

    // Lines that the file ends before, or within, need no memory and no reading.
    const std::uint64_t held = file.size() > start ? (file.size() - start) / line_size : 0;
    const auto lines = std::min(held, static_cast<std::uint64_t>(walk.lines));
    if (lines > 0) {
        LineReader reader(file, start, line_size, region.skip_pixels * size,
                          static_cast<std::uint64_t>(walk.pixels) * size);
        const std::uint64_t batch_lines = std::min(walk.lines_per_batch(reader.pitch()), lines);
        Block<std::uint8_t> batch;
        TRELLIS_TRY(batch.allocate(batch_lines * reader.pitch()));
        for (std::uint64_t first = 0; first < lines; first += batch_lines) {
            const auto count = static_cast<std::size_t>(std::min(batch_lines, lines - first));
            TRELLIS_TRY(reader.read(first, count, batch.data()));
            TRELLIS_TRY(unpacker.unpack(static_cast<std::int64_t>(first), count,
                                        batch.data() + reader.offset(),
                                        static_cast<std::size_t>(reader.pitch())));
        }
    }
    unpacker.clear_from(static_cast<std::int64_t>(lines));
    return Error::none;
}

}  // namespace trellis::dpx
