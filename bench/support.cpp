#include "support.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "photograph.h"

namespace bench {

namespace {

constexpr std::size_t piece_size = 64 * 1024;

struct Directory {
    explicit Directory(const std::filesystem::path& parent) {
        std::string pattern = parent / "trellis-bench-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) {
            std::abort();
        }
        name = pattern;
    }
    ~Directory() { std::filesystem::remove_all(name); }
    std::string name;
};

// Output memory that stays mapped from one repetition to the next, like a host's frame buffer. Each
// thread has its own.
std::vector<std::uint8_t>& output_bytes(std::size_t size) {
    static thread_local std::vector<std::uint8_t> bytes;
    if (bytes.size() < size) {
        bytes.resize(size);
    }
    return bytes;
}

// Sample values 0 to 255 of a picture: vertical bars in the upper half, ramps of even steps below.
int chart_value(int x, int y, int channel) {
    if (y < height / 2) {
        return ((x * 8 / width) >> (channel % 3) & 1) * 191;
    }
    return ((x / 16 + channel * 32) * 2) & 0xFF;
}

template <class Sample, class Make>
std::vector<Sample> fill(int channels, Make make) {
    std::vector<Sample> values(pixels * static_cast<std::size_t>(channels));
    std::size_t i = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            for (int c = 0; c < channels; ++c) {
                values[i++] = static_cast<Sample>(make(x, y, c));
            }
        }
    }
    return values;
}

template <class Sample>
std::vector<Sample> samples(Content content, int channels, int highest) {
    switch (content) {
        case Content::noise:
            return fill<Sample>(channels, [state = 1U, highest](int, int, int) mutable {
                state = state * 1664525U + 1013904223U;
                return static_cast<int>(state >> 16) % (highest + 1);
            });
        case Content::photograph:
            // The last channel of a pixel is red.
            return fill<Sample>(channels, [channels, highest](int x, int y, int channel) {
                const int from_red = channels - 1 - channel;
                return photograph_value(x, y, static_cast<std::size_t>(from_red % 3), highest);
            });
        default:
            return fill<Sample>(channels, [highest](int x, int y, int channel) {
                return chart_value(x, y, channel) * highest / 255;
            });
    }
}

}  // namespace

std::string path(const std::string& name) {
    static const Directory directory(std::filesystem::temp_directory_path());
    return directory.name + "/" + name;
}

std::string memory_path(const std::string& name) {
    static const Directory directory("/dev/shm");
    return directory.name + "/" + name;
}

const char* name(Content content) {
    switch (content) {
        case Content::noise:
            return "noise";
        case Content::photograph:
            return "photograph";
        default:
            return "chart";
    }
}

std::size_t file_size(const std::string& name) {
    return std::filesystem::file_size(name);
}

std::vector<std::uint8_t> samples8(Content content, int channels) {
    return samples<std::uint8_t>(content, channels, 255);
}

std::vector<std::uint16_t> samples16(Content content, int channels, int highest) {
    return samples<std::uint16_t>(content, channels, highest);
}

std::vector<Bar>& bars() {
    static std::vector<Bar> all;
    return all;
}

void read_floor(const std::string& name, std::size_t output) {
    static thread_local std::vector<char> piece(piece_size);
    std::vector<std::uint8_t>& bytes = output_bytes(output);
    std::FILE* file = std::fopen(name.c_str(), "r");
    std::setvbuf(file, nullptr, _IONBF, 0);
    std::size_t stored = 0;
    while (const std::size_t got = std::fread(piece.data(), 1, piece_size, file)) {
        const std::size_t size = std::min(got, output - stored);
        std::memcpy(bytes.data() + stored, piece.data(), size);
        stored += size;
    }
    std::fclose(file);
    // What the file does not hold (decoded runs, wider pixels) has to be stored all the same.
    while (stored < output) {
        const std::size_t size = std::min(piece_size, output - stored);
        std::memcpy(bytes.data() + stored, piece.data(), size);
        stored += size;
    }
}

void time_write_floor(benchmark::State& state, const std::string& saved, const std::string& name) {
    std::vector<char> bytes(file_size(saved));
    std::FILE* source = std::fopen(saved.c_str(), "r");
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), source));
    std::fclose(source);
    time_saves(state, name, [&bytes](const char* to) {
        std::FILE* file = std::fopen(to, "w");
        std::setvbuf(file, nullptr, _IONBF, 0);
        for (std::size_t written = 0; written < bytes.size();) {
            written +=
                std::fwrite(&bytes[written], 1, std::min(piece_size, bytes.size() - written), file);
        }
        return std::fclose(file) == 0;
    });
}

}  // namespace bench
