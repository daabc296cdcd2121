#include "memory.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

namespace trellis::host {

namespace {

namespace fs = std::filesystem;

std::uint64_t machine_memory() {
    return std::uint64_t(sysconf(_SC_PHYS_PAGES)) * std::uint64_t(sysconf(_SC_PAGESIZE));
}

// A limit that is the word "max", or that is not there, is none.
std::uint64_t limit_in(const fs::path& file) {
    std::uint64_t bytes = 0;
    return std::ifstream(file) >> bytes ? bytes : UINT64_MAX;
}

// The limits of a control group and of all groups around it. Where the group's own path is not
// mounted, as in most containers, only the outermost is seen, which is then the container's.
std::uint64_t limit_of_groups(const fs::path& root, const std::string& group, const char* file) {
    std::uint64_t least = limit_in(root / file);
    for (fs::path path = fs::path(group).relative_path(); !path.empty();
         path = path.parent_path()) {
        least = std::min(least, limit_in(root / path / file));
    }
    return least;
}

// Each line of the list is "NUMBER:CONTROLLERS:GROUP"; the one without controllers is of version 2.
std::uint64_t group_limit() {
    std::uint64_t least = UINT64_MAX;
    std::ifstream groups("/proc/self/cgroup");
    for (std::string line; std::getline(groups, line);) {
        const std::size_t first = line.find(':');
        const std::size_t second = line.find(':', first + 1);
        if (first == std::string::npos || second == std::string::npos) {
            continue;
        }
        const std::string controllers = line.substr(first + 1, second - first - 1);
        const std::string group = line.substr(second + 1);
        if (controllers.empty()) {
            least = std::min(least, limit_of_groups("/sys/fs/cgroup", group, "memory.max"));
        } else if (controllers == "memory") {
            least = std::min(
                least, limit_of_groups("/sys/fs/cgroup/memory", group, "memory.limit_in_bytes"));
        }
    }
    return least;
}

}  // namespace

std::uint64_t memory_limit() {
    static const std::uint64_t limit = std::min(machine_memory(), group_limit());
    return limit;
}

}  // namespace trellis::host
