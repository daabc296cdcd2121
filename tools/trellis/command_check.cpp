#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <unordered_set>
#include <utility>
#include <vector>

#include "trellis/errors.h"
#include "trellis/examine.hpp"

#include "command_line.h"
#include "commands.h"
#include "output.h"

namespace tool {

namespace {

/// The words for what can be wrong, in the order in which one frame's findings are listed.
constexpr const char* unreadable = "unreadable";
constexpr const char* empty = "empty";
constexpr const char* truncated = "truncated";
constexpr const char* missing = "missing";
constexpr const char* doubled = "double";
constexpr const char* different = "different";
constexpr const char* header = "header";
constexpr const char* time_code = "time code";
constexpr const char* frozen = "frozen";
constexpr const char* black = "black";

struct Finding {
    const char* what;
    std::string text;
};

struct TimeCode {
    int hours, minutes, seconds, frames;

    std::int64_t whole_seconds() const { return (hours * 60LL + minutes) * 60 + seconds; }
    std::int64_t count(int rate) const { return whole_seconds() * rate + frames; }
};

/// What is kept of a frame that was read: little, for a reel has many.
struct Seen {
    host::Checksum stored;
    const std::string* shape = nullptr;  // one text for all frames of one shape
    std::optional<TimeCode> time_code = {};
    float rate = 0;
    bool is_black = false;
};

struct Checked {
    Frame frame;
    std::optional<Seen> seen = {};
    std::vector<Finding> findings = {};

    void add(const char* what, std::string text) { findings.push_back({what, std::move(text)}); }
};

/// Texts that are the same are kept once. For any thread.
class Texts {
  public:
    const std::string* keep(std::string text) {
        const std::lock_guard lock(mutex_);
        return &*texts_.insert(std::move(text)).first;
    }

  private:
    std::mutex mutex_;
    std::unordered_set<std::string> texts_;
};

std::string shape_of(const host::Description& d) {
    return std::to_string(d.width) + " x " + std::to_string(d.height) + ", " +
           host::kind_name(d.kind) + " of " + std::to_string(d.depth) + " bits, " + d.format->name;
}

std::optional<TimeCode> parse_time_code(const std::string& text) {
    TimeCode code{};
    char surplus = 0;
    if (std::sscanf(text.c_str(), "%2d:%2d:%2d:%2d%c", &code.hours, &code.minutes, &code.seconds,
                    &code.frames, &surplus) != 4) {
        return {};
    }
    return code;
}

std::string text_of(const TimeCode& code) {
    char text[64];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d:%02d", code.hours, code.minutes, code.seconds,
                  code.frames);
    return text;
}

TimeCode time_code_of(std::int64_t count, int rate) {
    const std::int64_t seconds = count / rate;
    return {static_cast<int>(seconds / 3600), static_cast<int>(seconds / 60 % 60),
            static_cast<int>(seconds % 60), static_cast<int>(count % rate)};
}

/// What one file is found to be without looking at others.
void look_at(Checked& checked, Texts& shapes) {
    const std::string& path = checked.frame.path;
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (error == std::errc::no_such_file_or_directory && checked.frame.number) {
        checked.add(missing, "there is no such file");
        return;
    }
    if (!error && size == 0) {
        checked.add(empty, "the file has no bytes");
        return;
    }
    try {
        const host::Examination found = host::examine(path);
        const host::Description& d = found.description;
        checked.seen = Seen{found.stored, shapes.keep(shape_of(d)), parse_time_code(d.time_code),
                            d.frame_rate.value_or(0), found.black};
        if (!d.missing.empty()) {
            checked.add(truncated, d.missing + " are missing");
        }
        for (const std::string& text : found.contradictions) {
            checked.add(header, text);
        }
    } catch (const host::Error& e) {
        const std::string text = e.reason().empty() ? e.message() : e.message() + ": " + e.reason();
        checked.add(e.code() == TRELLIS_READ_ERROR ? truncated : unreadable, text);
    }
}

using Reel = std::vector<Checked>;

/// What most frames are, the first of those if there are several.
const std::string* usual_shape(const Reel& reel) {
    std::map<const std::string*, std::size_t> counts;
    const std::string* usual = nullptr;
    for (const Checked& c : reel) {
        if (c.seen && ++counts[c.seen->shape] > (usual == nullptr ? 0 : counts[usual])) {
            usual = c.seen->shape;
        }
    }
    return usual;
}

void find_different(Reel& reel) {
    const std::string* const usual = usual_shape(reel);
    for (Checked& c : reel) {
        if (c.seen && c.seen->shape != usual) {
            c.add(different, *c.seen->shape + "; most are " + *usual);
        }
    }
}

/// Gaps and doubles in the numbers, which rise.
void find_gaps(Reel& reel) {
    for (std::size_t i = 1; i < reel.size(); ++i) {
        const auto before = reel[i - 1].frame.number;
        const auto here = reel[i].frame.number;
        if (!before || !here) {
            continue;
        }
        if (*here == *before) {
            reel[i].add(doubled, "its number is that of " + reel[i - 1].frame.path);
        } else if (*here > *before + 1) {
            const std::string first = std::to_string(*before + 1);
            const std::string last = std::to_string(*here - 1);
            reel[i].add(missing, first == last ? "frame " + first + " before it"
                                               : "frames " + first + "-" + last + " before it");
        }
    }
}

void find_frozen_and_black(Reel& reel) {
    const Checked* before = nullptr;
    for (Checked& c : reel) {
        if (!c.seen) {
            continue;
        }
        const bool is_double =
            before != nullptr && c.frame.number && before->frame.number == c.frame.number;
        if (c.seen->is_black) {
            c.add(black, "the picture is wholly black");
        } else if (before != nullptr && !is_double && before->seen->stored == c.seen->stored &&
                   before->seen->shape == c.seen->shape) {
            c.add(frozen, "the same picture as " + before->frame.path);
        }
        before = &c;
    }
}

/// Frames a second: what headers say, else the greatest number of a frame in a second and one.
int time_code_rate(const std::vector<Checked*>& coded) {
    int greatest = 0;
    for (const Checked* c : coded) {
        if (c->seen->rate >= 1 && c->seen->rate < 1000) {
            return static_cast<int>(c->seen->rate + 0.5F);
        }
        greatest = std::max(greatest, c->seen->time_code->frames);
    }
    return greatest + 1;
}

/// A frame whose time code leaves the step of those before it is out of step; where those after it
/// keep the new step, that is a jump, and said once.
void find_time_codes(Reel& reel) {
    std::vector<Checked*> coded;
    for (Checked& c : reel) {
        if (c.seen && c.seen->time_code && c.frame.number) {
            coded.push_back(&c);
        }
    }
    // Many programs, this one among them, leave the field 0 in every frame.
    const bool in_use = std::any_of(coded.begin(), coded.end(), [](const Checked* c) {
        return c->seen->time_code->count(1) != 0;
    });
    if (!in_use) {
        return;
    }
    for (Checked& c : reel) {
        if (c.seen && !c.seen->time_code) {
            c.add(time_code, "it has none, others have");
        }
    }
    const int rate = time_code_rate(coded);
    const auto step = [&](std::size_t i) {
        return coded[i]->seen->time_code->count(rate) - *coded[i]->frame.number;
    };
    // A first frame that is alone in its step is the one that is wrong.
    std::int64_t usual = coded.size() > 2 && step(1) == step(2) ? step(1) : step(0);
    for (std::size_t i = 0; i < coded.size(); ++i) {
        if (step(i) == usual) {
            continue;
        }
        const TimeCode expected = time_code_of(*coded[i]->frame.number + usual, rate);
        const bool jump = i + 1 < coded.size() && step(i + 1) == step(i);
        coded[i]->add(time_code, text_of(*coded[i]->seen->time_code) + ", expected " +
                                     text_of(expected) + (jump ? "; those after it go on" : ""));
        usual = jump ? step(i) : usual;
    }
}

void print_finding(const Frame& frame, const Finding& finding, bool json) {
    if (!json) {
        print("%s: %s: %s\n", printable(frame.path).c_str(), finding.what,
              printable(finding.text).c_str());
        return;
    }
    Json object = {{"file", frame.path}};
    if (frame.number) {
        object["frame"] = *frame.number;
    }
    object["finding"] = finding.what;
    object["text"] = finding.text;
    print_json_line(object);
}

/// The files of a check: of a pattern every frame on disk, also under a number with too many or too
/// few zeros. Other names have numbers if they differ in nothing else.
Reel reel_of(const Selection& selection) {
    Reel reel;
    Selection others = selection;
    others.names.clear();
    for (const std::string& name : selection.names) {
        const auto pattern = pattern_of(name);
        if (!pattern || !selection.frames.empty()) {
            others.names.push_back(name);
            continue;
        }
        frames_of(*pattern, "");  // so that a pattern without frames is an error
        for (const auto& [number, path] : pattern->files_of_any_width()) {
            reel.push_back({{path, number}});
        }
    }
    const std::vector<Frame> files = selected(others);
    const bool one_reel = std::all_of(files.begin(), files.end(), [&](const Frame& frame) {
        return name_without_number(frame.path) == name_without_number(files.front().path);
    });
    for (const Frame& frame : files) {
        const auto number = frame.number || !one_reel ? frame.number : number_in(frame.path);
        reel.push_back({{frame.path, number}});
    }
    return reel;
}

}  // namespace

bool check(const Selection& selection, bool json, const BatchOptions& batch) {
    Reel reel = reel_of(selection);
    if (reel.empty()) {
        throw UsageError("no files are named");
    }
    Texts shapes;
    run_batch(reel.size(), batch, [&](std::size_t i) {
        look_at(reel[i], shapes);
        return Outcome::done;
    });
    if (selection.frames.empty()) {
        find_gaps(reel);
    }
    find_different(reel);
    find_time_codes(reel);
    find_frozen_and_black(reel);
    bool all_well = true;
    for (const Checked& checked : reel) {
        for (const Finding& finding : checked.findings) {
            print_finding(checked.frame, finding, json);
            all_well = false;
        }
    }
    return all_well;
}

}  // namespace tool
