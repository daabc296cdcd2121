#pragma once

// Files that hold together, made from the fuzzer's bytes: it chooses sizes, tiles, packets and
// samples, and then which few bytes of the whole are spoilt. Readers are so led past their first
// checks at once.

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

namespace fuzz {

/// Takes numbers from the front of an input; when that is used up they are the lowest ones.
class Choices {
  public:
    Choices(const std::uint8_t* bytes, std::size_t size) : bytes_(bytes), size_(size) {}

    bool any_left() const { return place_ < size_; }

    std::uint8_t byte() { return any_left() ? bytes_[place_++] : std::uint8_t{0}; }

    int number(int lowest, int highest) {
        const int value = byte() * 256 + byte();
        return lowest + value % (highest - lowest + 1);
    }

    template <class Value, std::size_t count>
    Value one_of(const Value (&values)[count]) {
        return values[byte() % count];
    }

  private:
    const std::uint8_t* bytes_;
    std::size_t size_;
    std::size_t place_ = 0;
};

/// A file under construction. Numbers are big-endian.
class Built {
  public:
    explicit Built(std::size_t size = 0) : bytes_(size) {}

    std::size_t size() const { return bytes_.size(); }

    void put(std::size_t offset, std::uint64_t value, int size) {
        for (int i = size; i-- > 0; value >>= 8) {
            bytes_.at(offset + static_cast<std::size_t>(i)) = static_cast<std::uint8_t>(value);
        }
    }
    void put(std::size_t offset, std::string_view text) {
        std::ranges::copy(text, bytes_.begin() + static_cast<std::ptrdiff_t>(offset));
    }

    void add(std::uint64_t value, int size) {
        bytes_.resize(bytes_.size() + static_cast<std::size_t>(size));
        put(bytes_.size() - static_cast<std::size_t>(size), value, size);
    }
    void add(std::string_view text) { bytes_.insert(bytes_.end(), text.begin(), text.end()); }
    void add(Choices& choices, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            bytes_.push_back(choices.byte());
        }
    }
    void fill_up(std::size_t unit) { bytes_.resize((bytes_.size() + unit - 1) / unit * unit); }

    /// The whole with up to four bytes changed, perhaps cut short, and the steering of a load.
    std::vector<std::uint8_t> finish(Choices& choices) {
        for (int spoilt = choices.number(0, 4); spoilt > 0 && !bytes_.empty(); --spoilt) {
            const auto place = static_cast<std::size_t>(choices.number(0, 65535)) % bytes_.size();
            bytes_[place] = static_cast<std::uint8_t>(bytes_[place] ^ choices.byte());
        }
        if (choices.number(0, 7) == 0) {
            bytes_.resize(static_cast<std::size_t>(choices.number(0, 65535)) % (bytes_.size() + 1));
        }
        add(choices, 5);
        return std::move(bytes_);
    }

  private:
    std::vector<std::uint8_t> bytes_;
};

/// Rows of packets of every type, each within its row and its block.
inline void add_pixar_rows(Built& file, Choices& choices, int rows, int width, int channels,
                           bool deep, std::size_t block) {
    const std::size_t sample = deep ? 2 : 1;
    const std::size_t start = file.size();
    const auto left_in_block = [&] { return block - (file.size() - start) % block; };
    for (int row = 0; row < rows && choices.any_left(); ++row) {
        for (int x = 0; x < width;) {
            const int type = choices.number(1, 4);
            const bool own_matte = type >= 3;
            const std::size_t pixel =
                static_cast<std::size_t>(channels - (own_matte ? 1 : 0)) * sample;
            const bool runs = type % 2 == 0;
            const std::size_t body = std::max<std::size_t>(pixel + (runs ? sample : 0), 1);
            const std::size_t front = 2 + (own_matte ? sample : 0);
            const bool skip = choices.any_left() && choices.number(0, 15) == 0;
            if (skip || left_in_block() < front + body) {
                file.add(0, left_in_block() < 2 ? 1 : 2);  // padding, or the rest is to be skipped
                while (left_in_block() != block) {
                    file.add(0, 1);
                }
                continue;
            }
            const std::size_t most = std::min<std::size_t>((left_in_block() - front) / body, 64);
            int count = choices.number(1, std::min(static_cast<int>(most), width - x));
            const int packet = type << 12 | (count - 1);
            file.add(static_cast<std::uint64_t>((packet & 255) << 8 | packet >> 8), 2);
            file.add(choices, front - 2);
            for (; count > 0; --count) {
                const int length = runs ? choices.number(1, width - x - count + 1) : 1;
                if (runs) {
                    file.add(static_cast<std::uint64_t>(length - 1), static_cast<int>(sample));
                }
                file.add(choices, pixel);
                x += length;
            }
        }
    }
}

inline std::vector<std::uint8_t> build_pixar(Choices& choices) {
    constexpr int formats[] = {14, 15, 1, 8, 6, 9};
    const int width = choices.number(1, 60);
    const int height = choices.number(1, 40);
    const int tile_width = choices.number(1, 64);
    const int tile_height = choices.number(1, 48);
    const int format = choices.one_of(formats);
    const int storage = choices.number(0, 3);
    const int block = choices.number(1, 8) * 64;
    const int channels = __builtin_popcount(static_cast<unsigned int>(format));
    const bool deep = storage % 2 == 1;
    const int across = (width + tile_width - 1) / tile_width;
    const int down = (height + tile_height - 1) / tile_height;

    Built file(760);
    file.put(0, 0x0000E880, 4);
    const int fields[] = {height, width, tile_height, tile_width, format, storage, block};
    for (std::size_t i = 0; i < std::size(fields); ++i) {
        file.put(584 + 2 * i, static_cast<std::uint64_t>(fields[i]), 2);
    }
    const std::size_t table = file.size();
    for (int tile = 0; tile < across * down; ++tile) {
        file.add(0, 8);
        file.add(0, 8);
    }
    for (int tile = 0; tile < across * down && choices.any_left(); ++tile) {
        const std::size_t start = file.size();
        if (storage >= 2) {
            const int samples = tile_width * tile_height * channels * (deep ? 2 : 1);
            file.add(choices, static_cast<std::size_t>(samples));
        } else {
            add_pixar_rows(file, choices, tile_height, tile_width, channels, deep,
                           static_cast<std::size_t>(block));
        }
        file.put(table + static_cast<std::size_t>(tile) * 16, start, 4);
        file.put(table + static_cast<std::size_t>(tile) * 16 + 8, file.size() - start, 4);
    }
    return file.finish(choices);
}

inline std::vector<std::uint8_t> build_maya(Choices& choices) {
    const int width = choices.number(1, 60);
    const int height = choices.number(1, 40);
    const int flags = choices.number(1, 3);
    const int tiles = choices.number(1, 5);
    const int channels = (flags & 1) * 3 + flags / 2;

    Built file;
    file.add("FOR4");
    file.add(0, 4);
    file.add("CIMGTBHD");
    file.add(32, 4);
    file.add(static_cast<std::uint64_t>(width), 4);
    file.add(static_cast<std::uint64_t>(height), 4);
    file.add(0, 4);
    file.add(static_cast<std::uint64_t>(flags), 4);
    file.add(static_cast<std::uint64_t>(tiles), 4);
    file.add(1, 4);
    file.add(0, 8);
    file.add("FOR4");
    file.add(0, 4);
    file.add("TBMP");
    for (int tile = 0; tile < tiles; ++tile) {
        const int x0 = choices.number(0, width - 1);
        const int y0 = choices.number(0, height - 1);
        const int x1 = choices.number(x0, width - 1);
        const int y1 = choices.number(y0, height - 1);
        const std::size_t raw = static_cast<std::size_t>((x1 - x0 + 1) * (y1 - y0 + 1) * channels);
        file.add("RGBA");
        const std::size_t chunk = file.size();
        file.add(0, 4);
        for (const int corner : {x0, y0, x1, y1}) {
            file.add(static_cast<std::uint64_t>(corner), 2);
        }
        if (choices.number(0, 2) == 0) {
            file.add(choices, raw);
        } else {
            for (std::size_t done = 0; done < raw && choices.any_left();) {
                const auto most = static_cast<int>(std::min<std::size_t>(raw - done, 128));
                const int count = choices.number(1, most);
                const bool run = choices.byte() % 2 == 0;
                file.add(static_cast<std::uint64_t>(count - 1 + (run ? 128 : 0)), 1);
                file.add(choices, run ? 1 : static_cast<std::size_t>(count));
                done += static_cast<std::size_t>(count);
            }
        }
        file.put(chunk, file.size() - chunk - 4, 4);
        file.fill_up(4);
    }
    return file.finish(choices);
}

inline std::vector<std::uint8_t> build_dpx(Choices& choices) {
    constexpr int descriptors[] = {50, 51, 52, 1, 4, 6, 50, 50};
    constexpr int bit_sizes[] = {10, 8, 12, 16};
    const int width = choices.number(1, 40);
    const int height = choices.number(1, 30);
    const int descriptor = choices.one_of(descriptors);
    Built file(2048);
    file.put(0, choices.byte() % 2 == 0 ? "SDPX" : "XPDS");
    const bool little = choices.byte() % 2 == 1;
    file.put(0, little ? "XPDS" : "SDPX");
    const auto put = [&](std::size_t offset, int value, int size) {
        auto bits = static_cast<std::uint32_t>(value);
        if (little) {
            bits = size == 2 ? __builtin_bswap16(static_cast<std::uint16_t>(bits))
                             : __builtin_bswap32(bits);
        }
        file.put(offset, bits, size);
    };
    put(4, 2048, 4);
    put(768, choices.number(0, 7) * (choices.byte() % 2), 2);
    put(770, 1, 2);
    put(772, width, 4);
    put(776, height, 4);
    file.put(800, static_cast<std::uint64_t>(descriptor), 1);
    file.put(803, static_cast<std::uint64_t>(choices.one_of(bit_sizes)), 1);
    put(804, choices.number(0, 2), 2);
    put(806, choices.number(0, 1), 2);
    put(808, 2048, 4);
    put(812, choices.number(0, 8) * (choices.byte() % 2), 4);
    if (choices.byte() % 2 == 0) {
        file.put(160, "Orrery Imaging");
    }
    const int channels = descriptor == 50 ? 3 : descriptor > 50 ? 4 : 1;
    file.add(choices, static_cast<std::size_t>(width * height * channels * 2));
    return file.finish(choices);
}

inline std::vector<std::uint8_t> build_cineon(Choices& choices) {
    constexpr int channel_counts[] = {3, 1, 4};
    const int width = choices.number(1, 40);
    const int height = choices.number(1, 30);
    const int channels = choices.one_of(channel_counts);
    const int user = choices.number(0, 3) * 700;
    Built file(2048);
    const std::uint32_t front[] = {0x802A5FD7, static_cast<std::uint32_t>(2048 + user), 1024, 1024,
                                   static_cast<std::uint32_t>(user)};
    for (std::size_t i = 0; i < std::size(front); ++i) {
        file.put(4 * i, front[i], 4);
    }
    file.put(192, choices.byte() % 3 == 0 ? 5 : 0, 1);
    file.put(193, static_cast<std::uint64_t>(channels), 1);
    for (std::size_t channel = 0; channel < 4; ++channel) {
        file.put(196 + 28 * channel, 0x00010A00, 4);
        file.put(200 + 28 * channel, static_cast<std::uint64_t>(width), 4);
        file.put(204 + 28 * channel, static_cast<std::uint64_t>(height), 4);
    }
    file.put(681, 5, 1);
    file.add(choices, static_cast<std::size_t>(user + width * height * 5));
    return file.finish(choices);
}

}  // namespace fuzz
