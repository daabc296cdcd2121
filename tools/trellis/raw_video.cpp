#include "raw_video.h"

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <iterator>
#include <mutex>

#include "trellis/errors.h"

#include "output.h"

namespace tool {

namespace {

struct RawFormat {
    const char* name;
    trellis_kind kind;
};

// All of 16-bit little-endian words, red, green, blue and the matte, or it alone.
constexpr RawFormat raw[] = {{"rgb48le", TRELLIS_KIND_IMAGE},
                             {"rgba64le", TRELLIS_KIND_CUTOUT},
                             {"gray16le", TRELLIS_KIND_MASK}};

std::string raw_bytes(const host::Picture& picture) {
    const auto* colour = reinterpret_cast<const std::uint16_t*>(picture.colour());
    const auto* matte = reinterpret_cast<const std::uint16_t*>(picture.matte());
    const std::size_t words = (colour != nullptr ? 3U : 0U) + (matte != nullptr ? 1U : 0U);
    const auto width = static_cast<std::size_t>(picture.width());
    std::string bytes(picture.pixels() * words * 2, '\0');
    char* out = bytes.data();
    const auto put = [&out](unsigned int sample) {
        const unsigned int word = sample << 2 | sample >> 12;  // 14 bits fill 16
        *out++ = static_cast<char>(word);
        *out++ = static_cast<char>(word >> 8);
    };
    for (auto row = static_cast<std::size_t>(picture.height()); row-- > 0;) {
        for (std::size_t i = row * width; i < (row + 1) * width; ++i) {
            for (std::size_t c = 3; colour != nullptr && c-- > 0;) {
                put(colour[3 * i + c]);
            }
            if (matte != nullptr) {
                put(matte[i]);
            }
        }
    }
    return bytes;
}

/// Standard output, to which threads write in the order of the frames.
class OrderedOutput {
  public:
    /// Waits for the frames before; writes nothing once a frame is missing.
    void write(std::size_t frame, const std::string& bytes) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return next_ == frame || ended_; });
        if (ended_) {
            return;
        }
        const bool good = std::fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size();
        ended_ = !good;
        ++next_;
        changed_.notify_all();
    }

    /// Waits for the frames before this one, after which there are none.
    void end_before(std::size_t frame) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return next_ == frame || ended_; });
        ended_ = true;
        changed_.notify_all();
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t next_ = 0;
    bool ended_ = false;
};

}  // namespace

std::vector<std::string> raw_formats() {
    std::vector<std::string> names;
    std::transform(std::begin(raw), std::end(raw), std::back_inserter(names),
                   [](const RawFormat& format) { return format.name; });
    return names;
}

bool write_raw_video(const std::vector<Frame>& frames, const std::string& format,
                     const host::LoadOptions& options, const BatchOptions& batch) {
    host::LoadOptions load = options;
    load.depth = 16;
    load.kind = std::find_if(std::begin(raw), std::end(raw), [&](const RawFormat& known) {
                    return known.name == format;
                })->kind;
    BatchOptions one_failure_is_enough = batch;
    one_failure_is_enough.fail_fast = true;
    const host::Description first = host::describe(frames[0].path);
    OrderedOutput output;
    const bool all_loaded = run_batch(frames.size(), one_failure_is_enough, [&](std::size_t i) {
        try {
            const host::Picture picture = host::load(frames[i].path, load);
            if (!load.region &&
                (picture.width() != first.width || picture.height() != first.height)) {
                throw host::Error(frames[i].path, TRELLIS_WINDOW_ERROR,
                                  "its size is not that of the first frame");
            }
            output.write(i, raw_bytes(picture));
            return Outcome::done;
        } catch (...) {
            output.end_before(i);
            throw;
        }
    });
    if (std::ferror(stdout) != 0) {
        throw OutputError("standard output took only a part of the frames");
    }
    return all_loaded;
}

}  // namespace tool
