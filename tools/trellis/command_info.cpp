#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "commands.h"
#include "output.h"
#include "side_files.h"

namespace tool {

namespace {

std::vector<std::string> side_files(const std::string& file) {
    std::vector<std::string> found;
    for (const std::string& name : {cinfo_name(file), minipic_name(file)}) {
        std::error_code too_long;
        if (std::filesystem::exists(name, too_long)) {
            found.push_back(name);
        }
    }
    return found;
}

/// What only some files say of themselves.
std::vector<std::pair<std::string, Json>> further(const host::Description& info) {
    std::vector<std::pair<std::string, Json>> list;
    const std::pair<const char*, const std::string&> texts[] = {
        {"byte_order", info.byte_order}, {"packing", info.packing}, {"transfer", info.transfer},
        {"time_code", info.time_code},   {"creator", info.creator}, {"not_loaded", info.refusal},
        {"missing", info.missing}};
    for (const auto& [name, text] : texts) {
        if (!text.empty()) {
            list.emplace_back(name, text);
        }
    }
    if (info.frame_rate) {
        list.emplace_back("frame_rate", json_of(*info.frame_rate));
    }
    return list;
}

/// What there is to say about a file, in the order in which it is said.
Json to_json(const std::string& file, const host::Description& info) {
    Json json = {{"file", file},
                 {"format", info.format->code},
                 {"kind", host::kind_name(info.kind)},
                 {"width", info.width},
                 {"height", info.height},
                 {"channels", info.channels},
                 {"depth", info.depth},
                 {"compressed", info.compressed},
                 {"side_files", side_files(file)}};
    for (const auto& [name, value] : further(info)) {
        json[name] = value;
    }
    return json;
}

void print_text(const std::string& file, const host::Description& info) {
    print("%s\n", printable(file).c_str());
    print("  format       %s (%s)\n", info.format->name.c_str(), info.format->code.c_str());
    print("  kind         %s\n", host::kind_name(info.kind));
    print("  size         %d x %d\n", info.width, info.height);
    print("  channels     %d\n", info.channels);
    print("  depth        %d bits\n", info.depth);
    print("  compression  %s\n", info.compressed ? "yes" : "no");
    for (auto [name, value] : further(info)) {
        std::replace(name.begin(), name.end(), '_', ' ');
        const std::string text =
            value.is_string() ? printable(value.get<std::string>()) : value.dump();
        print("  %-12s %s\n", name.c_str(), text.c_str());
    }
    for (const std::string& side_file : side_files(file)) {
        print("  side file    %s\n", printable(side_file).c_str());
    }
}

}  // namespace

bool info(const Selection& files, const std::string& from, bool json) {
    bool all_read = true;
    JsonList list;
    for (const auto& [file, number] : some_selected(files)) {
        try {
            const auto describe = [](const std::string& path) { return host::describe(path); };
            const host::Description description = read_from({file, from}, describe);
            if (json) {
                list.add(to_json(file, description));
            } else {
                print_text(file, description);
            }
        } catch (const host::Error& error) {
            report(error);
            all_read = false;
        }
    }
    if (json) {
        list.finish();
    }
    return all_read;
}

}  // namespace tool
