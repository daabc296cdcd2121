#pragma once

// What all fuzz targets share: a file with the fuzzer's bytes, and buffers that tell when a call
// writes outside its rectangle.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "trellis/pic_format.h"

namespace fuzz {

/// A file in memory, made anew for each input, with a name that can be opened.
class File {
  public:
    File() : descriptor_(memfd_create("fuzz", 0)) {
        name_ = "/proc/self/fd/" + std::to_string(descriptor_);
    }
    ~File() { close(descriptor_); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    const char* with(const std::uint8_t* bytes, std::size_t size) {
        if (ftruncate(descriptor_, 0) != 0 ||
            pwrite(descriptor_, bytes, size, 0) != static_cast<ssize_t>(size)) {
            std::abort();
        }
        return name_.c_str();
    }

    const char* name() const { return name_.c_str(); }

    /// Changes one byte of what is there.
    void change(int offset, std::uint8_t byte) const {
        if (offset < lseek(descriptor_, 0, SEEK_END)) {
            static_cast<void>(pwrite(descriptor_, &byte, 1, offset) == 1);
        }
    }

  private:
    int descriptor_;
    std::string name_;
};

/// A name beside which that file stands under one more extension.
class SideFile {
  public:
    explicit SideFile(const char* extension)
        : name_("/tmp/trellis-fuzz-" + std::to_string(getpid())), link_(name_ + extension) {
        if (symlink(file_.with(nullptr, 0), link_.c_str()) != 0) {
            std::abort();
        }
    }
    ~SideFile() { unlink(link_.c_str()); }
    SideFile(const SideFile&) = delete;
    SideFile& operator=(const SideFile&) = delete;

    const char* with(const std::uint8_t* bytes, std::size_t size) {
        file_.with(bytes, size);
        return name_.c_str();
    }

  private:
    File file_;
    std::string name_;
    std::string link_;
};

/// A buffer of width × height pixels inside a larger one. The address sanitizer sees writes beyond
/// the whole; check() sees those between rectangle and edge.
template <class Sample>
class Canvas {
  public:
    Canvas(int width, int height, int channels)
        : width_(width), height_(height), channels_(channels) {
        samples_.assign(static_cast<std::size_t>(pitch() * (height + 2 * border) * channels), mark);
    }

    int pitch() const { return width_ + 2 * border; }
    Sample* origin() { return samples_.data() + (border * pitch() + border) * channels_; }

    void check() const {
        for (int y = 0; y < height_ + 2 * border; ++y) {
            for (int x = 0; x < pitch(); ++x) {
                const bool inside =
                    x >= border && x < border + width_ && y >= border && y < border + height_;
                for (int c = 0; c < channels_ && !inside; ++c) {
                    if (samples_[static_cast<std::size_t>((y * pitch() + x) * channels_ + c)] !=
                        mark) {
                        std::fprintf(stderr, "written outside the rectangle at %d, %d\n", x, y);
                        std::abort();
                    }
                }
            }
        }
    }

  private:
    static constexpr int border = 2;
    static constexpr Sample mark = static_cast<Sample>(0xA5A5);
    int width_;
    int height_;
    int channels_;
    std::vector<Sample> samples_;
};

/// Takes the few numbers that steer a call from the end of the input, where they are not part of
/// the file.
class Steering {
  public:
    Steering(const std::uint8_t* bytes, std::size_t& size) : bytes_(bytes), size_(size) {}

    int next(int lowest, int highest) {
        const int value = size_ > 0 ? bytes_[--size_] : 0;
        return lowest + value % (highest - lowest + 1);
    }

  private:
    const std::uint8_t* bytes_;
    std::size_t& size_;
};

/// A descriptor, filled once.
template <void (*init)(pic_format*)>
const pic_format& format() {
    static const pic_format filled = [] {
        pic_format record{};
        init(&record);
        return record;
    }();
    return filled;
}

/// Asks a format everything about a file but its pixels. A probe is given a copy of the bytes, with
/// room for what the most curious one looks at.
inline void ask(const pic_format& format, const char* name, const std::uint8_t* bytes,
                std::size_t size) {
    constexpr std::size_t least_room = 194;
    unsigned int out[12] = {};
    std::vector<std::uint8_t> header(bytes, bytes + size);
    header.resize(std::max(size, least_room));
    format.inq_type_fn(header.data(), static_cast<int>(size), name, 0, &out[0], &out[1]);
    format.size_pic_fn(name, &out[0], &out[1]);
    format.info_fn(name, &out[0], &out[1], &out[2], &out[3], &out[4], &out[5], &out[6], &out[7],
                   &out[8], &out[9], &out[10], &out[11]);
}

}  // namespace fuzz
