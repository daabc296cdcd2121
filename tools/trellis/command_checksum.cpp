#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "trellis/errors.h"
#include "trellis/examine.hpp"

#include "command_line.h"
#include "commands.h"
#include "output.h"

namespace tool {

namespace {

constexpr const char* first_line = "# trellis checksum 1: XXH3-128 of pixels";

struct Entry {
    std::string name;
    std::optional<host::Checksum> sum = {};
};

// A name with a new line or a backslash in it has these as \n and \\, behind a backslash at the
// start of its line, as md5sum has it.
std::string escaped(const std::string& name) {
    std::string text;
    for (const char c : name) {
        text += c == '\n' ? "\\n" : c == '\\' ? "\\\\" : std::string(1, c);
    }
    return text;
}

std::string unescaped(const std::string& text) {
    std::string name;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool escape = text[i] == '\\' && i + 1 < text.size();
        i += escape ? 1 : 0;
        name += escape && text[i] == 'n' ? '\n' : text[i];
    }
    return name;
}

std::string line_of(const Entry& entry) {
    const std::string name = escaped(entry.name);
    return (name == entry.name ? "" : "\\") + entry.sum->text() + "  " + name + "\n";
}

std::optional<Entry> parse_line(std::string line) {
    const bool has_escapes = line.starts_with("\\");
    line.erase(0, has_escapes ? 1 : 0);
    constexpr std::size_t digits = 32;
    if (line.size() < digits + 3 || line.compare(digits, 2, "  ") != 0) {
        return {};
    }
    const std::string name = line.substr(digits + 2);
    Entry entry = {has_escapes ? unescaped(name) : name,
                   host::Checksum::parse(line.substr(0, digits))};
    return entry.sum ? std::optional(entry) : std::nullopt;
}

std::vector<Entry> read_manifest(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw host::Error(path, TRELLIS_OPEN_ERROR, host::system_reason(TRELLIS_OPEN_ERROR, errno));
    }
    std::string line;
    if (!std::getline(file, line) || line != first_line) {
        throw host::Error(path, TRELLIS_UNSUPPORTED_ERROR, "it is no manifest of this version");
    }
    std::vector<Entry> entries;
    for (int number = 2; std::getline(file, line); ++number) {
        const auto entry = parse_line(line);
        if (!entry) {
            throw host::Error(path, TRELLIS_UNSUPPORTED_ERROR,
                              "line " + std::to_string(number) + " has no checksum and name");
        }
        entries.push_back(*entry);
    }
    return entries;
}

/// The checksums of files; none for those that cannot be loaded, which are reported.
std::vector<Entry> sums_of(const std::vector<std::string>& names, const BatchOptions& batch) {
    std::vector<Entry> entries(names.size());
    run_batch(names.size(), batch, [&](std::size_t i) {
        entries[i].name = names[i];
        entries[i].sum = host::pixel_checksum(names[i]);
        return Outcome::done;
    });
    return entries;
}

std::vector<std::string> names_of(const Selection& selection) {
    std::vector<std::string> names;
    for (const Frame& frame : selected(selection)) {
        names.push_back(frame.path);
    }
    return names;
}

/// Which of the files that are there is the one of a manifest's line: that of the same name, or in
/// a reel under other names that with the same number.
class Files {
  public:
    explicit Files(const std::vector<Entry>& entries) {
        for (const Entry& entry : entries) {
            by_name_[entry.name] = &entry;
            if (const auto number = number_in(entry.name)) {
                by_number_[*number] = &entry;
            }
        }
    }

    const Entry* find(const std::string& name) const {
        if (const auto found = by_name_.find(name); found != by_name_.end()) {
            return found->second;
        }
        if (const auto number = number_in(name)) {
            const auto found = by_number_.find(*number);
            return found == by_number_.end() ? nullptr : found->second;
        }
        return nullptr;
    }

  private:
    std::map<std::string, const Entry*> by_name_;
    std::map<std::int64_t, const Entry*> by_number_;
};

}  // namespace

bool print_checksums(const Selection& selection, const BatchOptions& batch) {
    const std::vector<std::string> names = names_of(selection);
    if (names.empty()) {
        throw UsageError("FILE is required; see trellis --help");
    }
    bool all_read = true;
    print("%s\n", first_line);
    for (const Entry& entry : sums_of(names, batch)) {
        if (entry.sum) {
            print("%s", line_of(entry).c_str());
        }
        all_read = all_read && entry.sum;
    }
    return all_read;
}

bool verify_checksums(const std::string& manifest, const Selection& selection,
                      const BatchOptions& batch) {
    const std::vector<Entry> expected = read_manifest(manifest);
    std::vector<std::string> names = names_of(selection);
    if (names.empty()) {
        for (const Entry& entry : expected) {
            names.push_back(entry.name);
        }
    }
    const std::vector<Entry> there = sums_of(names, batch);
    const Files files(there);
    bool all_same = there.size() == expected.size();
    if (there.size() > expected.size()) {
        print("%zu files are not in the manifest\n", there.size() - expected.size());
    }
    for (const Entry& entry : expected) {
        const Entry* file = files.find(entry.name);
        if (file != nullptr && file->sum == entry.sum) {
            continue;
        }
        all_same = false;
        if (file == nullptr) {
            print("%s: missing\n", printable(entry.name).c_str());
        } else if (file->sum) {
            print("%s: pixels differ\n", printable(file->name).c_str());
        }
    }
    return all_same;
}

}  // namespace tool
