#include <nlohmann/json.hpp>

#include <cstdio>
#include <string>
#include <variant>
#include <vector>

#include "trellis/header_edit.hpp"

#include "command_line.h"
#include "commands.h"
#include "output.h"

namespace tool {

namespace {

using host::HeaderField;

template <class... Cases>
struct Overloaded : Cases... {
    using Cases::operator()...;
};
template <class... Cases>
Overloaded(Cases...) -> Overloaded<Cases...>;  // which Clang 14 does not find by itself

/// What is undefined is null; what the file does not have is nothing at all.
Json to_json(const std::vector<HeaderField>& fields) {
    Json json = Json::object();
    for (const HeaderField& field : fields) {
        std::visit(Overloaded{[](HeaderField::Absent) {},
                              [&](HeaderField::Undefined) { json[field.name] = nullptr; },
                              [&](float real) { json[field.name] = json_of(real); },
                              [&](const auto& value) { json[field.name] = value; }},
                   field.value);
    }
    return json;
}

Json to_json(const std::vector<host::HeaderChunk>& chunks) {
    Json list = Json::array();
    for (const host::HeaderChunk& chunk : chunks) {
        Json json = {{"tag", chunk.tag}, {"offset", chunk.offset}, {"size", chunk.size}};
        if (!chunk.type.empty()) {
            json["type"] = chunk.type;
            json["chunks"] = to_json(chunk.chunks);
        }
        if (!chunk.fields.empty()) {
            json["fields"] = to_json(chunk.fields);
        }
        list.push_back(std::move(json));
    }
    return list;
}

Json to_json(const std::string& path, const host::Header& header) {
    Json json = {{"file", path}, {"format", header.format->code}};
    if (!header.byte_order.empty()) {
        json["byte order"] = header.byte_order;
    }
    if (!header.chunks.empty()) {
        json["chunks"] = to_json(header.chunks);
    }
    for (const host::HeaderSection& section : header.sections) {
        json["sections"][section.name] = to_json(section.fields);
    }
    return json;
}

// Texts in quotation marks, with whatever they hold escaped as in JSON.
std::string shown(const Json& value) {
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string shown(const HeaderField::Value& value) {
    return std::visit(Overloaded{[](HeaderField::Absent) -> std::string { return "absent"; },
                                 [](HeaderField::Undefined) -> std::string { return "undefined"; },
                                 [](float real) { return shown(json_of(real)); },
                                 [](const auto& other) { return shown(Json(other)); }},
                      value);
}

void print_fields(const std::vector<HeaderField>& fields, int indent, int width) {
    for (const HeaderField& field : fields) {
        print("%*s%-*s %s\n", indent, "", width, field.name.c_str(), shown(field.value).c_str());
    }
}

void print_chunks(const std::vector<host::HeaderChunk>& chunks, int indent) {
    for (const host::HeaderChunk& chunk : chunks) {
        const std::string type = chunk.type.empty() ? "" : " " + shown(Json(chunk.type));
        print("%*s%s%s  size %llu at %llu\n", indent, "", shown(Json(chunk.tag)).c_str(),
              type.c_str(), static_cast<unsigned long long>(chunk.size),
              static_cast<unsigned long long>(chunk.offset));
        print_fields(chunk.fields, indent + 4, 12);
        print_chunks(chunk.chunks, indent + 2);
    }
}

void show_header(const Name& file, bool json) {
    const auto read = [](const std::string& path) { return host::read_header(path); };
    const host::Header header = read_from(file, read);
    if (json) {
        print_json_line(to_json(file.path, header));
        return;
    }
    const std::string order = header.byte_order.empty() ? "" : ", " + header.byte_order;
    print("%s: %s%s\n", printable(file.path).c_str(), header.format->name.c_str(), order.c_str());
    for (const host::HeaderSection& section : header.sections) {
        print("  %s\n", section.name.c_str());
        print_fields(section.fields, 4, 32);
    }
    print_chunks(header.chunks, 2);
}

struct TimeCode {
    int hours, minutes, seconds, frames;
};

/// Throws UsageError for what is no time code at a rate.
std::int64_t count_of(const std::string& text, int rate) {
    TimeCode code{};
    char surplus = 0;
    const bool complete = std::sscanf(text.c_str(), "%2d:%2d:%2d:%2d%c", &code.hours, &code.minutes,
                                      &code.seconds, &code.frames, &surplus) == 4;
    const auto within = [](int value, int end) { return value >= 0 && value < end; };
    if (!complete || !within(code.hours, 24) || !within(code.minutes, 60) ||
        !within(code.seconds, 60) || !within(code.frames, rate)) {
        throw UsageError("--timecode: not a time code at " + std::to_string(rate) +
                         " frames a second: " + text);
    }
    return ((code.hours * 60LL + code.minutes) * 60 + code.seconds) * rate + code.frames;
}

/// A time code, which starts again after a day. Frames before the first have negative counts.
std::string time_code_text(std::int64_t count, int rate) {
    const std::int64_t day = std::int64_t{86'400} * rate;
    count = (count % day + day) % day;
    const std::int64_t second = count / rate;
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d:%02d", static_cast<int>(second / 3600),
                  static_cast<int>(second / 60 % 60), static_cast<int>(second % 60),
                  static_cast<int>(count % rate));
    return text;
}

std::vector<host::FieldEdit> parse_assignments(const std::vector<std::string>& assignments) {
    std::vector<host::FieldEdit> edits;
    for (const std::string& assignment : assignments) {
        const std::size_t sign = assignment.find('=');
        if (sign == std::string::npos || sign == 0) {
            throw UsageError("--set: not field=value: " + assignment);
        }
        edits.push_back({assignment.substr(0, sign), assignment.substr(sign + 1)});
    }
    return edits;
}

/// How many frames after the first one a file is: by the numbers of a pattern, else by its place.
std::int64_t frames_after_first(const std::vector<Frame>& frames, std::size_t i) {
    return frames[0].number && frames[i].number ? *frames[i].number - *frames[0].number
                                                : static_cast<std::int64_t>(i);
}

}  // namespace

bool show_headers(const Selection& files, const std::string& from, bool json) {
    const std::vector<Frame> frames = some_selected(files);
    bool all_read = true;
    for (const Frame& frame : frames) {
        try {
            show_header({frame.path, from}, json);
        } catch (const host::Error& error) {
            report(error);
            all_read = false;
        }
    }
    return all_read;
}

bool edit_headers(const Selection& files, const HeaderEdits& edits, const BatchOptions& batch) {
    const std::vector<host::FieldEdit> assigned = parse_assignments(edits.assignments);
    const bool has_time_code = !edits.time_code.empty();
    if (has_time_code != (edits.rate != 0)) {
        throw UsageError("--timecode and --fps go together");
    }
    const std::int64_t first = has_time_code ? count_of(edits.time_code, edits.rate) : 0;
    const std::vector<Frame> frames = some_selected(files);
    return run_batch(frames.size(), batch, [&](std::size_t i) {
        std::vector<host::FieldEdit> fields = assigned;
        if (has_time_code) {
            const std::int64_t count = first + frames_after_first(frames, i);
            fields.push_back({"television.time code", time_code_text(count, edits.rate)});
            fields.push_back({"television.frame rate", std::to_string(edits.rate)});
        }
        host::edit_header(frames[i].path, fields);
        return Outcome::done;
    });
}

}  // namespace tool
