#include <nlohmann/json.hpp>

#include <cstdio>
#include <filesystem>

#include "commands.h"
#include "report.h"
#include "side_files.h"

namespace tool {

namespace {

std::vector<std::string> side_files(const std::string& file) {
    std::vector<std::string> found;
    for (const std::string& name : {cinfo_name(file), minipic_name(file)}) {
        if (std::filesystem::exists(name)) {
            found.push_back(name);
        }
    }
    return found;
}

void print(const std::string& file, const host::Description& info) {
    std::printf("%s\n", file.c_str());
    std::printf("  format       %s (%s)\n", info.format->name.c_str(), info.format->code.c_str());
    std::printf("  kind         %s\n", host::kind_name(info.kind));
    std::printf("  size         %d x %d\n", info.width, info.height);
    std::printf("  channels     %d\n", info.channels);
    std::printf("  depth        %d bits\n", info.depth);
    std::printf("  compression  %s\n", info.compressed ? "yes" : "no");
    for (const std::string& side_file : side_files(file)) {
        std::printf("  side file    %s\n", side_file.c_str());
    }
}

nlohmann::ordered_json to_json(const std::string& file, const host::Description& info) {
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

}  // namespace

bool info(const std::vector<std::string>& files, bool json) {
    bool all_read = true;
    auto list = nlohmann::ordered_json::array();
    for (const std::string& file : files) {
        try {
            const host::Description info = host::describe(file);
            if (json) {
                list.push_back(to_json(file, info));
            } else {
                print(file, info);
            }
        } catch (const host::Error& error) {
            report(error);
            all_read = false;
        }
    }
    if (json) {
        // A file name may be any bytes; those that are no text are replaced.
        using Dump = nlohmann::ordered_json::error_handler_t;
        std::puts(list.dump(2, ' ', false, Dump::replace).c_str());
    }
    return all_read;
}

}  // namespace tool
