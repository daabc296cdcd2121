#include "pairs.h"

#include <filesystem>
#include <system_error>
#include <unordered_map>
#include <unordered_set>

#include "trellis/errors.h"
#include "trellis/host.hpp"

#include "command_line.h"
#include "output.h"

namespace tool {

namespace {

/// What lies between the frames on disk is missing: a gap that is not asked for is worth a remark.
void remark_on_gaps(const std::string& pattern, const std::vector<std::int64_t>& frames) {
    std::vector<std::int64_t> missing;
    constexpr std::int64_t most = 100'000;
    for (std::size_t i = 1; i < frames.size(); ++i) {
        for (std::int64_t n = frames[i - 1] + 1; n < frames[i] && n - frames[i - 1] < most; ++n) {
            missing.push_back(n);
        }
    }
    if (!missing.empty()) {
        remark(pattern, "frames are missing: " + frames_text(missing));
    }
}

/// Tells whether two names lead to the same file, through whatever links. The directories of a
/// reel, which are few, are looked up once.
class Places {
  public:
    std::string of(const std::string& path) {
        std::error_code error;
        if (std::filesystem::is_symlink(path, error)) {
            return canonical(path);
        }
        const std::filesystem::path name(path);
        const std::string parent = name.parent_path();
        auto found = directories_.find(parent);
        if (found == directories_.end()) {
            found = directories_.emplace(parent, canonical(parent.empty() ? "." : parent)).first;
        }
        return found->second + "/" + name.filename().string();
    }

  private:
    // Of what is not there, the part that is.
    static std::string canonical(const std::string& path) {
        std::error_code error;
        const std::filesystem::path place = std::filesystem::weakly_canonical(path, error);
        return error ? path : place.string();
    }

    std::unordered_map<std::string, std::string> directories_;
};

}  // namespace

std::vector<Pair> pairs_between(const std::string& in, const std::string& out,
                                const std::string& frames) {
    const auto sources = pattern_of(in);
    if (!sources) {
        if (!frames.empty()) {
            throw UsageError("--frames needs a pattern such as shot.%04d.dpx");
        }
        return {{in, out}};
    }
    const auto targets = host::Pattern::parse(out);
    const std::vector<std::int64_t> numbers = frames_of(*sources, frames);
    if (!targets) {
        throw UsageError("IN is a pattern, OUT has no place for the number of a frame");
    }
    if (frames.empty()) {
        remark_on_gaps(in, numbers);
    }
    std::vector<Pair> pairs;
    for (const std::int64_t number : numbers) {
        pairs.push_back({sources->name(number), targets->name(number)});
    }
    return pairs;
}

std::vector<Pair> pairs_into(const std::string& directory, const std::string& extension,
                             const Selection& files) {
    std::error_code error;
    if (!std::filesystem::is_directory(directory, error)) {
        throw host::Error(directory, TRELLIS_OPEN_ERROR,
                          error ? error.message() : "it is not a directory");
    }
    std::vector<Pair> pairs;
    for (const Frame& frame : selected(files)) {
        const auto name = std::filesystem::path(frame.path).stem().string() + "." + extension;
        pairs.push_back({frame.path, std::filesystem::path(directory) / name});
    }
    if (pairs.empty()) {
        throw UsageError("no files are named");
    }
    return pairs;
}

void check_targets(const std::vector<Pair>& pairs) {
    if (pairs.size() < 2) {
        return;
    }
    Places places;
    std::unordered_set<std::string> taken;
    for (const Pair& pair : pairs) {
        taken.insert(places.of(pair.in));
    }
    for (const Pair& pair : pairs) {
        if (!taken.insert(places.of(pair.out)).second) {
            throw UsageError("two pictures meet in " + pair.out +
                             ": targets must differ from each other and from all sources");
        }
    }
}

}  // namespace tool
