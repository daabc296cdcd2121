#include <nlohmann/json.hpp>

#include <filesystem>
#include <system_error>

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

/// What there is to say about a file, in the order in which it is said.
Json to_json(const std::string& file, const host::Description& info) {
    return {{"file", file},
            {"format", info.format->code},
            {"kind", host::kind_name(info.kind)},
            {"width", info.width},
            {"height", info.height},
            {"channels", info.channels},
            {"depth", info.depth},
            {"compressed", info.compressed},
            {"side_files", side_files(file)}};
}

void print_text(const std::string& file, const host::Description& info) {
    print("%s\n", printable(file).c_str());
    print("  format       %s (%s)\n", info.format->name.c_str(), info.format->code.c_str());
    print("  kind         %s\n", host::kind_name(info.kind));
    print("  size         %d x %d\n", info.width, info.height);
    print("  channels     %d\n", info.channels);
    print("  depth        %d bits\n", info.depth);
    print("  compression  %s\n", info.compressed ? "yes" : "no");
    for (const std::string& side_file : side_files(file)) {
        print("  side file    %s\n", printable(side_file).c_str());
    }
}

}  // namespace

bool info(const std::vector<std::string>& files, const std::string& from, bool json) {
    bool all_read = true;
    Json list = Json::array();
    for (const std::string& file : files) {
        try {
            const auto describe = [](const std::string& path) { return host::describe(path); };
            const host::Description description = read_from({file, from}, describe);
            if (json) {
                list.push_back(to_json(file, description));
            } else {
                print_text(file, description);
            }
        } catch (const host::Error& error) {
            report(error);
            all_read = false;
        }
    }
    if (json) {
        print_json(list);
    }
    return all_read;
}

}  // namespace tool
