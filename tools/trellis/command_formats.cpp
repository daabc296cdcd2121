#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdio>

#include "commands.h"
#include "formats.h"

namespace tool {

namespace {

struct Ability {
    const char* kind;
    bool load;
    bool save;
};

std::array<Ability, 3> abilities(const pic_format& format) {
    return {{{"image", format.load_pic_fn != nullptr, format.save_pic_fn != nullptr},
             {"cutout", format.load_cut_fn != nullptr, format.save_cut_fn != nullptr},
             {"mask", format.load_mask_fn != nullptr, format.save_mask_fn != nullptr}}};
}

const char* words(const Ability& ability) {
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

void print_table() {
    std::vector<std::array<std::string, 8>> rows = {
        {"code", "name", "extension", "depth", "image", "cutout", "mask", "catalogue"}};
    for (const pic_format& format : formats()) {
        const auto [image, cutout, mask] = abilities(format);
        rows.push_back({format.code_string, format.long_name, joined(extensions(format)),
                        std::to_string(native_depth(format)), words(image), words(cutout),
                        words(mask), format.load_cat_fn != nullptr ? "load" : "-"});
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
        std::puts(line.c_str());
    }
}

void print_json() {
    auto list = nlohmann::ordered_json::array();
    for (const pic_format& format : formats()) {
        nlohmann::ordered_json entry = {{"code", format.code_string},
                                        {"name", format.long_name},
                                        {"extensions", extensions(format)},
                                        {"depth", native_depth(format)},
                                        {"load", nlohmann::ordered_json::array()},
                                        {"save", nlohmann::ordered_json::array()},
                                        {"catalogue", format.load_cat_fn != nullptr}};
        for (const Ability& ability : abilities(format)) {
            if (ability.load) {
                entry["load"].push_back(ability.kind);
            }
            if (ability.save) {
                entry["save"].push_back(ability.kind);
            }
        }
        list.push_back(std::move(entry));
    }
    std::puts(list.dump(2).c_str());
}

}  // namespace

void list_formats(bool json) {
    if (json) {
        print_json();
    } else {
        print_table();
    }
}

}  // namespace tool
