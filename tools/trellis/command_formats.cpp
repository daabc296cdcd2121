#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <utility>

#include "commands.h"
#include "output.h"

namespace tool {

namespace {

const char* words(const host::Format::Ability& ability) {
    if (ability.load) {
        return ability.save ? "load save" : "load";
    }
    return ability.save ? "save" : "-";
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

void list_as_table() {
    std::vector<std::array<std::string, 8>> rows = {
        {"code", "name", "extension", "depth", "image", "cutout", "mask", "catalogue"}};
    for (const host::Format& format : host::formats()) {
        rows.push_back({format.code, format.name, joined(format.extensions),
                        std::to_string(format.depth), words(format.image), words(format.cutout),
                        words(format.mask), format.catalogue ? "load" : "-"});
    }
    for (const auto& row : rows) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            std::size_t width = 0;
            for (const auto& other : rows) {
                width = std::max(width, other[column].size());
            }
            line += row[column] + std::string(width + 2 - row[column].size(), ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        print("%s\n", line.c_str());
    }
}

void list_as_json() {
    auto list = Json::array();
    for (const host::Format& format : host::formats()) {
        Json entry = {{"code", format.code},
                      {"name", format.name},
                      {"extensions", format.extensions},
                      {"depth", format.depth},
                      {"load", Json::array()},
                      {"save", Json::array()},
                      {"catalogue", format.catalogue}};
        const std::pair<const char*, host::Format::Ability> kinds[] = {
            {"image", format.image}, {"cutout", format.cutout}, {"mask", format.mask}};
        for (const auto& [kind, ability] : kinds) {
            if (ability.load) {
                entry["load"].push_back(kind);
            }
            if (ability.save) {
                entry["save"].push_back(kind);
            }
        }
        list.push_back(std::move(entry));
    }
    print_json(list);
}

}  // namespace

void list_formats(bool json) {
    if (json) {
        list_as_json();
    } else {
        list_as_table();
    }
}

}  // namespace tool
