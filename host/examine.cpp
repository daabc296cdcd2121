#include "trellis/examine.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>

#include "trellis/errors.h"

#include "byte_order.h"
#include "checksum.h"
#include "film.h"

namespace trellis::host {

namespace {

/// A file that is read from one end to the other.
class WholeFile {
  public:
    explicit WholeFile(const std::string& path)
        : path_(path), descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        if (descriptor_ < 0) {
            fail(TRELLIS_OPEN_ERROR);
        }
    }
    ~WholeFile() { close(descriptor_); }
    WholeFile(const WholeFile&) = delete;
    WholeFile& operator=(const WholeFile&) = delete;

    std::uint64_t size() const {
        struct stat status {};
        if (fstat(descriptor_, &status) != 0) {
            fail(TRELLIS_READ_ERROR);
        }
        return static_cast<std::uint64_t>(status.st_size);
    }

    /// How many bytes at `offset` came, which is fewer than asked for only at the end of the file.
    std::size_t read(std::uint64_t offset, char* to, std::size_t size) const {
        std::size_t done = 0;
        while (done < size) {
            const ssize_t count =
                pread(descriptor_, to + done, size - done, static_cast<off_t>(offset + done));
            if (count < 0 && errno == EINTR) {
                continue;
            }
            if (count < 0) {
                fail(TRELLIS_READ_ERROR);
            }
            if (count == 0) {
                break;
            }
            done += static_cast<std::size_t>(count);
        }
        return done;
    }

  private:
    [[noreturn]] void fail(int code) const { throw Error(path_, code, system_reason(code, errno)); }

    const std::string& path_;
    int descriptor_;
};

/// Whether bytes are one word of four bytes over and over.
class Monotone {
  public:
    /// Every piece but the last is whole words.
    void add(const char* bytes, std::size_t size) {
        constexpr std::size_t word = 4;
        if (size < word || !monotone_) {
            return;
        }
        if (first_.empty()) {
            first_.assign(bytes, word);
        }
        monotone_ = std::memcmp(bytes, first_.data(), word) == 0 &&
                    std::memcmp(bytes, bytes + word, size - word) == 0;
    }

    /// The word, or nothing.
    std::string_view word() const { return monotone_ ? std::string_view(first_) : ""; }

  private:
    std::string first_;
    bool monotone_ = true;
};

/// Three 10-bit codes in the upper bits of a word: the same, and no more than black.
bool is_black_film_word(std::uint32_t word) {
    constexpr std::uint32_t black = 95;
    const std::uint32_t red = word >> 22;
    const std::uint32_t green = word >> 12 & 1023;
    const std::uint32_t blue = word >> 2 & 1023;
    return red == green && green == blue && blue <= black;
}

bool is_black(std::string_view word, const trellis_film_info& film) {
    if (word.empty()) {
        return false;
    }
    const std::uint32_t number = film.big_endian != 0
                                     ? static_cast<std::uint32_t>(big_endian(word, 0, 4))
                                     : static_cast<std::uint32_t>(little_endian(word, 0, 4));
    const bool filled = film.packing == 1 || film.packing == 5;
    return number == 0 || (film.bit_size == 10 && filled && film.private_layout == 0 &&
                           is_black_film_word(number));
}

/// The picture of a film file as it is stored. Pieces are small enough for a processor's cache, so
/// that they come from memory once.
void read_stored(Examination& found, const std::string& path, const trellis_film_info& film) {
    const WholeFile file(path);
    found.file_size = file.size();
    constexpr std::size_t most = std::size_t{1} << 18;
    const auto buffer = std::make_unique_for_overwrite<char[]>(most);
    std::uint64_t left = film.line_size != 0 ? film.promised_size : UINT64_MAX;
    Hasher hasher;
    Monotone monotone;
    for (std::uint64_t at = film.image_offset; left > 0;) {
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(left, most));
        const std::size_t count = file.read(at, buffer.get(), wanted);
        if (count == 0) {
            break;
        }
        hasher.add(buffer.get(), count);
        monotone.add(buffer.get(), count);
        at += count;
        left -= count;
    }
    found.stored = hasher.checksum();
    found.black = is_black(monotone.word(), film);
}

const std::uint32_t* number(const Header& header, std::string_view section,
                            std::string_view field) {
    const HeaderField::Value* value = find_value(header, section, field);
    return value == nullptr ? nullptr : std::get_if<std::uint32_t>(value);
}

std::string told(std::string_view what, std::uint64_t said, std::string_view but,
                 std::uint64_t is) {
    return std::string(what) + " " + std::to_string(said) + std::string(but) + std::to_string(is);
}

void find_contradictions(Examination& found, const std::string& path,
                         const trellis_film_info& film) {
    const Header header = read_header(path);
    std::vector<std::string>& list = found.contradictions;
    constexpr std::string_view file = "file information";
    if (const auto* size = number(header, file, "file size"); size && *size != found.file_size) {
        list.push_back(told("file size", *size, " in the header, the file has ", found.file_size));
    }
    const auto* offset = number(header, file, "offset to image data");
    const auto* of_element = number(header, "image element 1", "offset to data");
    if (offset && of_element && *offset != *of_element) {
        list.push_back(
            told("offset to image data", *offset, ", of its first element ", *of_element));
    }
    if (film.image_offset >= found.file_size) {
        list.push_back(
            told("offset to image data", film.image_offset, ", the file has ", found.file_size));
    }
    const auto* position = number(header, "film", "frame position");
    const auto* length = number(header, "film", "sequence length");
    if (position && length && *length != 0 && *position > *length) {
        list.push_back(told("frame position", *position, " in a sequence of ", *length));
    }
}

void examine_samples(Examination& found, const std::string& path, bool lenient) {
    found.file_size = WholeFile(path).size();
    const Picture picture = load(path, {.lenient = lenient});
    Hasher hasher;
    Monotone monotone;
    const auto add = [&](const std::uint8_t* samples, std::size_t bytes_of_pixel) {
        if (samples != nullptr) {
            const auto size = static_cast<std::size_t>(picture.pixels()) * bytes_of_pixel;
            hasher.add(samples, size);
            monotone.add(reinterpret_cast<const char*>(samples), size);
        }
    };
    add(picture.colour(), picture.has_words() ? 6 : Picture::colour_size);
    const Monotone of_colours = monotone;
    add(picture.matte(), picture.has_words() ? 2 : 1);
    found.stored = hasher.checksum();
    const Monotone& shown = picture.colour() != nullptr ? of_colours : monotone;
    found.black = shown.word() == std::string_view("\0\0\0\0", 4);
}

void examine_film(Examination& found, const std::string& path) {
    const trellis_film_info film = film_info(path);
    if (film.encoding == 0) {
        read_stored(found, path, film);
    } else {
        examine_samples(found, path, false);  // only decoding shows whether the runs are whole
    }
    find_contradictions(found, path, film);
}

}  // namespace

Examination examine(const std::string& path) {
    Examination found;
    found.description = describe(path);
    if (!found.description.refusal.empty()) {
        throw Error(path, found.description.refusal_code, found.description.refusal);
    }
    const std::string& format = found.description.format->code;
    if (format == "DPX" || format == "SMPTE") {
        examine_film(found, path);
    } else {
        // A failing disk is not a file that is too short.
        examine_samples(found, path, !found.description.missing.empty());
    }
    return found;
}

}  // namespace trellis::host
