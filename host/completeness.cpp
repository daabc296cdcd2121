#include "completeness.h"

#include <algorithm>
#include <bit>
#include <filesystem>
#include <system_error>

#include "trellis/errors.h"

#include "byte_order.h"
#include "bytes_of_file.h"

namespace trellis::host {

namespace {

using std::uint64_t;

// What has no size, such as a pipe, may hold anything.
uint64_t size_of(const std::string& path) {
    std::error_code none;
    const std::uintmax_t size = std::filesystem::file_size(path, none);
    return none ? UINT64_MAX : size;
}

uint64_t pixels_of(const Description& description) {
    return uint64_t(std::max(description.width, 0)) * uint64_t(std::max(description.height, 0));
}

void refuse(Description& description, int code, std::string reason) {
    description.refusal = std::move(reason);
    description.refusal_code = code;
}

std::string part(uint64_t part, uint64_t whole, const char* what) {
    return std::to_string(part) + " of " + std::to_string(whole) + " " + what;
}

constexpr uint64_t divided_up(uint64_t a, uint64_t b) {
    return (a + b - 1) / b;
}

/// The words of a Pixar header that say how much there is to read.
struct PixarHeader {
    static constexpr std::size_t size = 760;
    static constexpr std::size_t pointer_size = 16;

    explicit PixarHeader(const std::string& bytes)
        : height(big_endian(bytes, 584, 2)),
          width(big_endian(bytes, 586, 2)),
          tile_height(big_endian(bytes, 588, 2)),
          tile_width(big_endian(bytes, 590, 2)),
          channels(uint64_t(std::popcount(big_endian(bytes, 592, 2) & 15))),
          storage(big_endian(bytes, 594, 2)) {}

    bool has_sizes() const {
        const auto good = [](uint64_t side) { return side >= 1 && side <= 32767; };
        return good(width) && good(height) && good(tile_width) && good(tile_height);
    }
    uint64_t tiles() const {
        return divided_up(width, tile_width) * divided_up(height, tile_height);
    }

    /// The fewest bytes that a tile's row can have: all its samples, or as few packets of runs as
    /// hold it, each of runs as long as their lengths can say.
    uint64_t least_row() const {
        const bool deep = (storage & 1) != 0;
        const uint64_t pixel = channels * (deep ? 2 : 1);
        if (storage >= 2) {
            return tile_width * pixel;
        }
        const uint64_t longest_run = deep ? 65536 : 256;
        const uint64_t runs = divided_up(tile_width, longest_run);
        return 2 + runs * ((deep ? 2 : 1) + (channels > 1 ? channels - 1 : 0) * (deep ? 2 : 1));
    }

    uint64_t height, width, tile_height, tile_width, channels, storage;
};

}  // namespace

void check_pixar(Description& description, const std::string& path) {
    BytesOfFile file(path);
    const std::string bytes = file.at(0, PixarHeader::size);
    if (bytes.size() < PixarHeader::size) {
        throw Error(path, TRELLIS_READ_ERROR, "the header is cut short");
    }
    const PixarHeader header(bytes);
    const uint64_t file_size = size_of(path);
    if (!header.has_sizes()) {
        return refuse(description, TRELLIS_UNSUPPORTED_ERROR, "the header gives no picture size");
    }
    const uint64_t tiles = header.tiles();
    if (PixarHeader::size + tiles * PixarHeader::pointer_size > file_size) {
        return refuse(description, TRELLIS_READ_ERROR, "the table of tiles is cut short");
    }
    const std::string table = file.at(PixarHeader::size, tiles * PixarHeader::pointer_size);
    const uint64_t least = header.least_row() * header.tile_height;
    uint64_t absent = 0;
    for (std::size_t at = 0; at + PixarHeader::pointer_size <= table.size();
         at += PixarHeader::pointer_size) {
        const uint64_t offset = big_endian(table, at, 4);
        if (offset == 0 || big_endian(table, at + 8, 4) == UINT32_MAX) {
            ++absent;
        } else if (offset > file_size || least > file_size - offset) {
            return refuse(description, TRELLIS_READ_ERROR,
                          "the header claims more pixels than the file holds");
        }
    }
    if (absent != 0) {
        description.missing = part(absent, tiles, "tiles");
    }
}

namespace {

/// Goes over the chunks of a Maya file as the library's reader does, and adds up its tiles.
class MayaTiles {
  public:
    MayaTiles(const std::string& path, BytesOfFile& file) : path_(path), file_(file) {}

    /// The picture's header, empty if there is none.
    std::string picture_header() {
        for (Chunk chunk = next(); chunk.there; chunk = next()) {
            if (chunk.tag == "TBHD") {
                const std::string fields = file_.at(chunk.data, 24);
                skip(chunk);
                return fields.size() < 24 ? "" : fields;
            }
            if (chunk.tag != "CIMG") {
                skip(chunk);
            }
        }
        return {};
    }

    /// Adds the pixels of up to `count` tiles that the file can hold.
    uint64_t pixels(uint64_t count, uint64_t channels, uint64_t width, uint64_t height) {
        constexpr uint64_t longest_run = 128;  // which takes two bytes
        const uint64_t file_size = size_of(path_);
        uint64_t pixels = 0;
        for (Chunk chunk = next(); chunk.there && count > 0; chunk = next()) {
            if (chunk.tag == "TBMP") {
                continue;  // entered: its tiles come next
            }
            if (chunk.tag == "RGBA") {
                --count;
                const uint64_t held =
                    std::min(chunk.size, file_size - std::min(file_size, chunk.data));
                const uint64_t area = tile_area(chunk, width, height);
                const uint64_t most = held <= 8 ? 0 : (held - 8) * longest_run / 2 / channels;
                pixels += std::min(area, most);
            }
            skip(chunk);
        }
        return pixels;
    }

  private:
    struct Chunk {
        bool there = false;
        std::string tag = {};
        uint64_t data = 0;
        uint64_t size = 0;
    };

    // Forms are entered: they have the name of their type, and their chunks come next.
    Chunk next() {
        const std::string head = file_.at(position_, 12);
        if (head.size() < 8) {
            return {};
        }
        const bool is_form = head.starts_with("FOR4") && head.size() == 12;
        const uint64_t entered = is_form ? 4 : 0;
        const uint64_t size = big_endian(head, 4, 4);
        position_ += 8 + entered;
        return {true, head.substr(is_form ? 8 : 0, 4), position_, size - std::min(size, entered)};
    }

    void skip(const Chunk& chunk) { position_ = chunk.data + (chunk.size + 3) / 4 * 4; }

    // Of a tile's rectangle, the part that lies in the picture.
    uint64_t tile_area(const Chunk& chunk, uint64_t width, uint64_t height) {
        const std::string corners = file_.at(chunk.data, 8);
        if (corners.size() < 8) {
            return 0;
        }
        const uint64_t x0 = big_endian(corners, 0, 2);
        const uint64_t y0 = big_endian(corners, 2, 2);
        const uint64_t x1 = std::min<uint64_t>(big_endian(corners, 4, 2) + 1, width);
        const uint64_t y1 = std::min<uint64_t>(big_endian(corners, 6, 2) + 1, height);
        return x1 > x0 && y1 > y0 ? (x1 - x0) * (y1 - y0) : 0;
    }

    const std::string& path_;
    BytesOfFile& file_;
    uint64_t position_ = 0;
};

}  // namespace

void check_maya(Description& description, const std::string& path) {
    BytesOfFile file(path);
    MayaTiles tiles(path, file);
    const std::string header = tiles.picture_header();
    if (header.empty()) {
        return refuse(description, TRELLIS_READ_ERROR, "there is no picture header");
    }
    if (description.channels == 0) {
        return refuse(description, TRELLIS_UNSUPPORTED_ERROR, "neither colours nor a matte");
    }
    if (big_endian(header, 16, 2) != 0) {
        description.depth = 16;
        return refuse(description, TRELLIS_UNSUPPORTED_ERROR, "16-bit samples");
    }
    const uint64_t whole = pixels_of(description);
    const uint64_t held = tiles.pixels(big_endian(header, 18, 2), uint64_t(description.channels),
                                       uint64_t(std::max(description.width, 0)),
                                       uint64_t(std::max(description.height, 0)));
    if (held < whole) {
        description.missing = part(whole - held, whole, "pixels");
    }
}

void check_png(Description& description, const std::string& path) {
    constexpr std::size_t header_size = 26;
    constexpr uint64_t greatest_compression = 1032;  // of the deflate algorithm
    const std::string header = BytesOfFile(path).at(0, header_size);
    if (header.size() < header_size) {
        return;
    }
    constexpr int samples_of_colour_type[] = {1, 0, 3, 1, 2, 0, 4};
    const std::size_t colour_type = static_cast<unsigned char>(header[25]);
    const uint64_t samples = colour_type < std::size(samples_of_colour_type)
                                 ? static_cast<uint64_t>(samples_of_colour_type[colour_type])
                                 : 0;
    const uint64_t least_bits =
        pixels_of(description) / greatest_compression * samples * big_endian(header, 24, 1);
    if (least_bits / 8 > size_of(path)) {
        refuse(description, TRELLIS_READ_ERROR,
               "the header claims more pixels than the file holds");
    }
}

}  // namespace trellis::host
