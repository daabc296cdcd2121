#pragma once

// What most tests need: files of given bytes, buffers with guard zones, recorded progress.

#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace support {

using Bytes = std::vector<std::uint8_t>;

/// Bytes from hex text: "00 10 FF", "0010FF".
Bytes hex(const std::string& text);

Bytes text(const std::string& characters);

Bytes operator+(Bytes a, const Bytes& b);
/// Up to `size` bytes at `offset`.
Bytes piece(const Bytes& bytes, std::size_t offset, std::size_t size = SIZE_MAX);
Bytes zeros(std::size_t count);

/// `size` bytes of `value`, big-endian or little-endian.
Bytes be(std::uint64_t value, int size);
Bytes le(std::uint64_t value, int size);

/// Replaces the bytes of `bytes` at `offset`.
void put(Bytes& bytes, std::size_t offset, const Bytes& piece);

/// A directory of its own for each test, removed at the end.
class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    std::string path(const std::string& name) const { return path_ + "/" + name; }

    /// Writes a file and returns its path.
    std::string file(const std::string& name, const Bytes& bytes) const;

  private:
    std::string path_;
};

/// Runs a command of the shell and tells whether it succeeded.
bool shell(const std::string& command);

/// Whether one of several programs, given by name, is not installed.
bool missing(const std::string& programs);

Bytes contents(const std::string& path);
bool exists(const std::string& path);

/// A buffer of pixels with guard zones around it and a pitch wider than its pictures. Every sample
/// starts as `filler`, so a test can say exactly which ones a call has written.
template <class Sample>
class Guarded {
  public:
    static constexpr Sample filler = static_cast<Sample>(0xA5A5);

    Guarded(int width, int height, int channels, int extra_pitch = 3)
        : height_(height),
          channels_(channels),
          pitch_(width + extra_pitch),
          samples_(static_cast<std::size_t>(2 * guard + pitch_ * height * channels), filler) {}

    Sample* data() { return samples_.data() + guard; }
    int pitch() const { return pitch_; }

    Sample& at(int x, int y, int channel = 0) { return data()[(x + y * pitch_) * channels_ + channel]; }

    /// How many samples, guards included, are no longer the filler.
    int written() const {
        int count = 0;
        for (const Sample sample : samples_) { count += sample != filler ? 1 : 0; }
        return count;
    }

    bool operator==(const Guarded&) const = default;

  private:
    static constexpr int guard = 512;
    int height_, channels_, pitch_;
    std::vector<Sample> samples_;
};

/// A cheap repeatable noise source; never the filler's low byte, so written samples can be told.
class Noise {
  public:
    explicit Noise(std::uint32_t seed) : state_(seed * 2654435761U + 1) {}
    std::uint32_t next() {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 17;
        state_ ^= state_ << 5;
        return state_;
    }
    std::uint8_t byte() {
        const auto value = static_cast<std::uint8_t>(next() >> 11);
        return value == 0xA5 ? 0x5A : value;
    }

  private:
    std::uint32_t state_;
};

void start_counting_memory();
std::size_t most_memory();

/// The most memory that the library held at once during `call`, in bytes.
template <class Call>
std::size_t memory_of(Call call) {
    start_counting_memory();
    call();
    return most_memory();
}

void fail_allocations_after(int count);

/// Calls `call` again and again, letting its first, second, … allocation fail until it needs no
/// more, and returns its error codes.
template <class Call>
std::vector<int> codes_without_memory(Call call) {
    std::vector<int> codes;
    do {
        fail_allocations_after(static_cast<int>(codes.size()));
        codes.push_back(call());
        fail_allocations_after(-1);
    } while (codes.back() != 0 && codes.size() < 20);
    return codes;
}

std::string start_capture();
std::string end_capture(const std::string& path);

/// Runs `call` with standard output going to a file, and returns what was printed.
template <class Call>
std::string printed(Call call) {
    const std::string path = start_capture();
    call();
    return end_capture(path);
}

}  // namespace support
