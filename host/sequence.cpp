#include "trellis/sequence.hpp"

#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <memory>
#include <system_error>

#include "trellis/errors.h"
#include "trellis/host.hpp"

namespace trellis::host {

namespace {

constexpr std::size_t most_frames = 1'000'000;

// What a number of this many digits may be, so that no sum of two leaves 64 bits.
constexpr std::size_t most_digits = 18;

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

std::optional<std::int64_t> parse_number(std::string_view text) {
    std::int64_t number = 0;
    if (text.empty() || text.size() > most_digits ||
        !std::all_of(text.begin(), text.end(), is_digit)) {
        return {};
    }
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

// What is before the first `separator`, and what is behind it; empty when there is none.
struct Halves {
    std::string_view before;
    std::optional<std::string_view> behind;
};

Halves split(std::string_view text, char separator) {
    const std::size_t at = text.find(separator);
    if (at == std::string_view::npos) {
        return {text, {}};
    }
    return {text.substr(0, at), text.substr(at + 1)};
}

// "1001", "1001-1100" or "1001-1100x2"
bool add_range(std::string_view text, std::vector<std::int64_t>& frames) {
    const Halves ends_and_step = split(text, 'x');
    const Halves ends = split(ends_and_step.before, '-');
    if (ends_and_step.behind && !ends.behind) {
        return false;
    }
    const auto first = parse_number(ends.before);
    const auto last = ends.behind ? parse_number(*ends.behind) : first;
    const auto step = ends_and_step.behind ? parse_number(*ends_and_step.behind) : 1;
    if (!first || !last || !step || *step == 0 || *last < *first) {
        return false;
    }
    const auto count = static_cast<std::uint64_t>((*last - *first) / *step) + 1;
    if (count > most_frames - frames.size()) {
        return false;
    }
    for (std::uint64_t i = 0; i < count; ++i) {
        frames.push_back(*first + static_cast<std::int64_t>(i) * *step);
    }
    return true;
}

/// The place for the number in a file's own name.
struct Place {
    std::size_t begin;
    std::size_t end;
    std::size_t digits;
};

// "%d", "%4d" or "%04d"
std::optional<Place> conversion_at(std::string_view name, std::size_t begin) {
    std::size_t at = begin + 1;
    if (at < name.size() && name[at] == '0') {
        ++at;
    }
    std::size_t digits = 1;
    if (at < name.size() && name[at] >= '1' && name[at] <= '9') {
        digits = static_cast<std::size_t>(name[at++] - '0');
    }
    if (at == name.size() || name[at] != 'd') {
        return {};
    }
    return Place{begin, at + 1, digits};
}

std::optional<Place> only_place(std::string_view name) {
    std::optional<Place> found;
    for (std::size_t at = 0; at < name.size();) {
        std::optional<Place> place;
        if (name[at] == '%') {
            place = conversion_at(name, at);
        } else if (name[at] == '#' || name[at] == '@') {
            const std::size_t end = std::min(name.find_first_not_of(name[at], at), name.size());
            if (end - at <= most_digits) {
                place = Place{at, end, end - at};
            }
        }
        if (place && found) {
            return {};
        }
        if (place) {
            found = place;
        }
        at = place ? place->end : at + 1;
    }
    return found;
}

}  // namespace

std::optional<std::vector<std::int64_t>> parse_frames(std::string_view text) {
    std::vector<std::int64_t> frames;
    for (std::optional<std::string_view> rest = text; rest;) {
        const Halves halves = split(*rest, ',');
        if (!add_range(halves.before, frames)) {
            return {};
        }
        rest = halves.behind;
    }
    return frames;
}

std::optional<Pattern> Pattern::parse(const std::string& text) {
    const std::size_t slash = text.rfind('/');
    const std::size_t name_begins = slash == std::string::npos ? 0 : slash + 1;
    const std::string name = text.substr(name_begins);
    const std::optional<Place> place = only_place(name);
    if (!place) {
        return {};
    }
    Pattern pattern;
    pattern.text_ = text;
    pattern.directory_ = text.substr(0, name_begins);
    pattern.front_ = name.substr(0, place->begin);
    pattern.back_ = name.substr(place->end);
    pattern.digits_ = place->digits;
    return pattern;
}

std::string Pattern::name(std::int64_t frame) const {
    const std::string number = std::to_string(frame);
    const std::size_t zeros = digits_ > number.size() ? digits_ - number.size() : 0;
    return directory_ + front_ + std::string(zeros, '0') + number + back_;
}

std::optional<std::int64_t> Pattern::frame_of(std::string_view file_name, bool any_width) const {
    if (file_name.size() < front_.size() + back_.size() || !file_name.starts_with(front_) ||
        !file_name.ends_with(back_)) {
        return {};
    }
    const std::string_view number =
        file_name.substr(front_.size(), file_name.size() - front_.size() - back_.size());
    const auto frame = parse_number(number);
    if (frame && !any_width) {
        const std::size_t needed = std::max(digits_, std::to_string(*frame).size());
        return number.size() == needed ? frame : std::nullopt;
    }
    return frame;
}

std::vector<Pattern::NumberedFile> Pattern::files_of_any_width() const {
    const std::string directory = directory_.empty() ? "." : directory_;
    const std::unique_ptr<DIR, int (*)(DIR*)> list(opendir(directory.c_str()), closedir);
    const auto fail = [&](int reason) {
        throw Error(text_, TRELLIS_OPEN_ERROR, std::generic_category().message(reason));
    };
    if (list == nullptr) {
        fail(errno);
    }
    std::vector<NumberedFile> files;
    errno = 0;
    while (const dirent* entry = readdir(list.get())) {
        const std::string file_name = entry->d_name;
        if (const auto frame = frame_of(file_name, true)) {
            files.push_back({*frame, directory_ + file_name});
        }
        errno = 0;
    }
    if (errno != 0) {
        fail(errno);
    }
    std::sort(files.begin(), files.end(), [](const NumberedFile& a, const NumberedFile& b) {
        return a.frame != b.frame ? a.frame < b.frame : a.path < b.path;
    });
    return files;
}

std::vector<std::int64_t> Pattern::frames_on_disk() const {
    std::vector<std::int64_t> frames;
    for (const NumberedFile& file : files_of_any_width()) {
        if (file.path == name(file.frame)) {
            frames.push_back(file.frame);
        }
    }
    return frames;
}

}  // namespace trellis::host
