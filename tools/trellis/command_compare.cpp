#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string>
#include <vector>

#include "command_line.h"
#include "commands.h"
#include "output.h"

namespace tool {

namespace {

struct Difference {
    std::uint64_t pixels = 0;
    int greatest = 0;  // of all samples

    /// Takes note of a pixel whose samples differ by at most `greatest_of_pixel`.
    void add(int greatest_of_pixel, int tolerance) {
        pixels += greatest_of_pixel > tolerance ? 1 : 0;
        greatest = std::max(greatest, greatest_of_pixel);
    }
};

template <class Sample>
Difference difference(const host::Picture& a, const host::Picture& b, int tolerance) {
    const auto sample = [](const std::uint8_t* buffer, std::uint64_t i) {
        return int{reinterpret_cast<const Sample*>(buffer)[i]};
    };
    const auto size = static_cast<std::uint64_t>(a.colour_samples());
    const auto first = static_cast<std::uint64_t>(a.first_colour());
    Difference result;
    for (std::uint64_t i = 0; i < a.pixels(); ++i) {
        int greatest = 0;
        for (std::uint64_t c = first; a.colour() != nullptr && c < size; ++c) {
            const std::uint64_t at = i * size + c;
            greatest =
                std::max(greatest, std::abs(sample(a.colour(), at) - sample(b.colour(), at)));
        }
        if (a.matte() != nullptr) {
            greatest = std::max(greatest, std::abs(sample(a.matte(), i) - sample(b.matte(), i)));
        }
        result.add(greatest, tolerance);
    }
    return result;
}

// Pictures of two depths are compared at the smaller one.
int common_depth(const std::string& a, const std::string& b) {
    return std::min(host::describe(a).format->depth, host::describe(b).format->depth);
}

std::string sizes_text(const host::Picture& picture) {
    return std::to_string(picture.width()) + " x " + std::to_string(picture.height());
}

/// What makes two pictures different; nothing when nothing does.
std::string compare_files(const std::string& file_a, const std::string& file_b,
                          host::LoadOptions options, int tolerance) {
    options.depth = common_depth(file_a, file_b);
    const host::Picture a = load_picture({file_a}, options);
    const host::Picture b = load_picture({file_b}, options);
    if (a.width() != b.width() || a.height() != b.height()) {
        return "sizes differ: " + sizes_text(a) + " and " + sizes_text(b);
    }
    if (a.kind() != b.kind()) {
        return std::string("kinds differ: ") + host::kind_name(a.kind()) + " and " +
               host::kind_name(b.kind());
    }
    const Difference found = a.depth() == 16 ? difference<std::uint16_t>(a, b, tolerance)
                                             : difference<std::uint8_t>(a, b, tolerance);
    if (found.pixels == 0) {
        return {};
    }
    return "pixels differ: " + std::to_string(found.pixels) + " of " + std::to_string(a.pixels()) +
           ", by at most " + std::to_string(found.greatest);
}

bool compare_two(const Name& a, const Name& b, const host::LoadOptions& options, int tolerance) {
    const std::string difference = read_from(a, [&](const std::string& file_a) {
        return read_from(b, [&](const std::string& file_b) {
            return compare_files(file_a, file_b, options, tolerance);
        });
    });
    if (!difference.empty()) {
        print("%s\n", difference.c_str());
    }
    return difference.empty();
}

/// Says which of the frames of one pattern the other does not have.
bool all_in(const std::vector<std::int64_t>& frames, const std::vector<std::int64_t>& others,
            const std::string& pattern) {
    std::vector<std::int64_t> rest;
    std::set_difference(frames.begin(), frames.end(), others.begin(), others.end(),
                        std::back_inserter(rest));
    if (!rest.empty()) {
        print("%s: missing: %s\n", printable(pattern).c_str(), frames_text(rest).c_str());
    }
    return rest.empty();
}

std::vector<std::int64_t> sorted(std::vector<std::int64_t> frames) {
    std::sort(frames.begin(), frames.end());
    return frames;
}

bool compare_reels(const host::Pattern& a, const host::Pattern& b, const ComparedFrames& which,
                   const host::LoadOptions& options, int tolerance) {
    const std::vector<std::int64_t> in_a = sorted(frames_of(a, which.frames));
    const std::vector<std::int64_t> in_b = sorted(frames_of(b, which.frames));
    const bool b_has_all = all_in(in_a, in_b, b.text());
    const bool a_has_all = all_in(in_b, in_a, a.text());
    std::vector<std::int64_t> both;
    std::set_intersection(in_a.begin(), in_a.end(), in_b.begin(), in_b.end(),
                          std::back_inserter(both));
    std::vector<std::string> differences(both.size());
    const bool all_read = run_batch(both.size(), which.batch, [&](std::size_t i) {
        differences[i] = compare_files(a.name(both[i]), b.name(both[i]), options, tolerance);
        return Outcome::done;
    });
    bool all_same = a_has_all && b_has_all && all_read;
    for (std::size_t i = 0; i < both.size(); ++i) {
        if (!differences[i].empty()) {
            print("%s: %s\n", printable(b.name(both[i])).c_str(), differences[i].c_str());
            all_same = false;
        }
    }
    return all_same;
}

}  // namespace

bool compare(const Name& a, const Name& b, const ComparedFrames& which,
             const host::LoadOptions& options, int tolerance) {
    const auto pattern_a = pattern_of(a.path);
    const auto pattern_b = pattern_of(b.path);
    if (!pattern_a && !pattern_b) {
        return compare_two(a, b, options, tolerance);
    }
    if (!pattern_a || !pattern_b) {
        throw UsageError("A and B must both be patterns, or neither");
    }
    return compare_reels(*pattern_a, *pattern_b, which, options, tolerance);
}

}  // namespace tool
