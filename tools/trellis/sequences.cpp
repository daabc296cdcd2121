#include "sequences.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <istream>
#include <system_error>

#include "trellis/errors.h"
#include "trellis/host.hpp"

#include "command_line.h"

namespace tool {

namespace {

constexpr char digits[] = "0123456789";

/// Where the last digits of a file's own name are; nothing in "shot.cin", 7 to 11 in
/// "a/shot1.0042".
struct Digits {
    std::size_t begin = 0;
    std::size_t end = 0;
};

Digits last_digits(const std::string& path) {
    const std::size_t name = path.rfind('/') + 1;  // 0 when there is no slash
    const std::size_t dot = path.rfind('.');
    const bool has_extension = dot != std::string::npos && dot > name &&
                               path.find_first_not_of(digits, dot + 1) != std::string::npos;
    const std::size_t stem = has_extension ? dot : path.size();
    const std::size_t last = stem == 0 ? std::string::npos : path.find_last_of(digits, stem - 1);
    if (last == std::string::npos || last < name) {
        return {};
    }
    const std::size_t before = path.find_last_not_of(digits, last);
    const std::size_t begin = before == std::string::npos ? 0 : before + 1;
    return {std::max(begin, name), last + 1};
}

void read_names(std::istream& in, char end, std::vector<std::string>& names) {
    for (std::string name; std::getline(in, name, end);) {
        if (!name.empty()) {
            names.push_back(name);
        }
    }
}

std::vector<std::string> listed_names(const Selection& selection) {
    std::vector<std::string> names;
    const char end = selection.zero ? '\0' : '\n';
    if (selection.list == "-") {
        read_names(std::cin, end, names);
    } else if (!selection.list.empty()) {
        std::ifstream file(selection.list, std::ios::binary);
        if (!file) {
            throw host::Error(selection.list, TRELLIS_OPEN_ERROR,
                              host::system_reason(TRELLIS_OPEN_ERROR, errno));
        }
        read_names(file, end, names);
    }
    return names;
}

}  // namespace

std::optional<host::Pattern> pattern_of(const std::string& name) {
    std::error_code no_file;
    if (std::filesystem::exists(name, no_file)) {
        return {};
    }
    return host::Pattern::parse(name);
}

std::vector<std::int64_t> frames_of(const host::Pattern& pattern, const std::string& frames) {
    if (!frames.empty()) {
        if (const auto wanted = host::parse_frames(frames)) {
            return *wanted;
        }
        throw UsageError("--frames: not a list such as 1001-1100,1200 or 1-99x2: " + frames);
    }
    const std::vector<std::int64_t> found = pattern.frames_on_disk();
    if (found.empty()) {
        throw host::Error(pattern.text(), TRELLIS_OPEN_ERROR, "there are no such frames");
    }
    return found;
}

std::vector<Frame> selected(const Selection& selection) {
    std::vector<Frame> files;
    bool any_pattern = false;
    for (const std::string& name : selection.names) {
        const auto pattern = pattern_of(name);
        if (!pattern) {
            files.push_back({name});
            continue;
        }
        any_pattern = true;
        for (const std::int64_t frame : frames_of(*pattern, selection.frames)) {
            files.push_back({pattern->name(frame), frame});
        }
    }
    if (!selection.frames.empty() && !any_pattern) {
        throw UsageError("--frames needs a pattern such as shot.%04d.dpx");
    }
    for (const std::string& name : listed_names(selection)) {
        files.push_back({name});
    }
    return files;
}

std::vector<Frame> some_selected(const Selection& selection) {
    std::vector<Frame> files = selected(selection);
    if (files.empty()) {
        throw UsageError("FILE is required; see trellis --help");
    }
    return files;
}

std::string frames_text(const std::vector<std::int64_t>& frames) {
    std::string text;
    for (std::size_t i = 0; i < frames.size();) {
        std::size_t end = i + 1;
        while (end < frames.size() && frames[end] == frames[end - 1] + 1) {
            ++end;
        }
        text += (text.empty() ? "" : ",") + std::to_string(frames[i]);
        if (end - i > 1) {
            text += "-" + std::to_string(frames[end - 1]);
        }
        i = end;
    }
    return text;
}

std::optional<std::int64_t> number_in(const std::string& path) {
    const auto [begin, end] = last_digits(path);
    std::int64_t number = 0;
    const auto result = std::from_chars(path.data() + begin, path.data() + end, number);
    return begin < end && result.ec == std::errc() ? std::optional(number) : std::nullopt;
}

std::string name_without_number(const std::string& path) {
    const auto [begin, end] = last_digits(path);
    return path.substr(0, begin) + "#" + path.substr(end);
}

}  // namespace tool
