#pragma once

/// Sequences of numbered files, such as the frames of a reel, and doing many of them at once.
///
///     const host::Pattern reel = host::Pattern::parse("scan/shot.%04d.dpx").value();
///     for (const std::int64_t frame : reel.frames_on_disk()) {
///         host::Picture picture = host::load(reel.name(frame));
///     }

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace trellis::host {

/// Numbers of frames from a list such as "1001-1100,1200" or, every second one, "1001-1100x2", in
/// the order of the list. Empty when `text` is no such list, or one of more than ten million
/// frames.
std::optional<std::vector<std::int64_t>> parse_frames(std::string_view text);

/// A name of files with a place for the number of a frame. The place is in the file's own name, not
/// in that of a directory, and is written in one of these ways:
///
/// | written            | number                                  |
/// |--------------------|-----------------------------------------|
/// | `%04d` (1 to 9), `%d` | at least so many digits, any number of digits |
/// | `####`, `@@@@`     | at least as many digits as characters   |
///
/// Numbers are not negative; shorter ones begin with zeros.
class Pattern {
  public:
    /// Empty when the name has no place for a number, or more than one.
    static std::optional<Pattern> parse(const std::string& text);

    /// The pattern as it was given.
    const std::string& text() const { return text_; }

    /// The name of one frame's file.
    std::string name(std::int64_t frame) const;

    /// The frame that a file of the pattern's directory is, by its name without the directory;
    /// empty when it is none. A number with too many zeros is none, unless `any_width` is set.
    std::optional<std::int64_t> frame_of(std::string_view file_name, bool any_width = false) const;

    /// The frames whose files exist, in rising order. Throws Error for a directory that cannot be
    /// read.
    std::vector<std::int64_t> frames_on_disk() const;

    /// A file and its number.
    struct NumberedFile {
        std::int64_t frame;
        std::string path;
    };

    /// Every file of the directory that differs from the pattern in nothing but the number and its
    /// zeros, in rising order: one frame may be there more than once. Throws Error.
    std::vector<NumberedFile> files_of_any_width() const;

  private:
    std::string text_;
    std::string directory_;  // with its slash, or empty
    std::string front_;      // of the file's own name
    std::string back_;
    std::size_t digits_ = 1;
};

/// The processors that this process may use: no more than its affinity and its container allow, and
/// at least one.
int usable_processors();

/// Whether a row of jobs goes on after one of them.
enum class AfterJob { go_on, stop };

/// Does `job(0)` to `job(count - 1)`, `threads` at a time, beginning them in this order. Returns
/// when no job runs any more: after the last, or once one has said to stop, when no more are begun.
/// What a job throws is thrown again by this function, and stops the row.
void run_jobs(std::size_t count, int threads, const std::function<AfterJob(std::size_t)>& job);

}  // namespace trellis::host
