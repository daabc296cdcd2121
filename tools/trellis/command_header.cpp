#include <nlohmann/json.hpp>

#include <variant>

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

}  // namespace

void show_header(const Name& file, bool json) {
    const auto read = [](const std::string& path) { return host::read_header(path); };
    const host::Header header = read_from(file, read);
    if (json) {
        print_json(to_json(file.path, header));
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

}  // namespace tool
