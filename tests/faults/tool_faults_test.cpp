// The tool with its system calls failing, one after the other, by way of strace: a command ends
// with a whole result, or with one line of error, its target as it was and nothing beside it.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <regex>
#include <sstream>

#include "support/support.h"

namespace {

using namespace support;

using Files = std::map<std::string, Bytes>;

// Calls whose failure a program has to deal with, and what the system would say.
const std::map<std::string, std::string> errors = {
    {"openat", "EACCES"},  {"read", "EIO"},       {"pread64", "EIO"},   {"write", "ENOSPC"},   {"pwrite64", "ENOSPC"},
    {"writev", "ENOSPC"},  {"lseek", "EIO"},      {"fstat", "EIO"},     {"newfstatat", "EIO"}, {"close", "EIO"},
    {"rename", "EIO"},     {"renameat", "EIO"},   {"renameat2", "EIO"}, {"link", "EIO"},       {"linkat", "EIO"},
    {"mkdir", "EACCES"},   {"mkdirat", "EACCES"}, {"fsync", "EIO"},     {"fchmod", "EPERM"},   {"fchmodat", "EPERM"},
    {"ftruncate", "EIO"},  {"fallocate", "EIO"},  {"unlink", "EIO"},    {"unlinkat", "EIO"},   {"rmdir", "EIO"},
    {"getdents64", "EIO"}, {"mmap", "ENOMEM"},    {"chdir", "EACCES"},  {"fchdir", "EACCES"},
};

struct Command {
    std::string arguments;
    std::string target;       // the file that it makes or changes
    std::size_t stamped = 0;  // bytes of it that say when it was made
};

class ToolFaults : public testing::Test {
  protected:
    void SetUp() override {
        if (missing("strace") || !shell("strace -o /dev/null true 2>/dev/null")) {
            GTEST_SKIP() << "strace does not work here";
        }
        for (const char* name : {"a.pic", "a.dpx", "a.cin", "a.iff", "a.png"}) {
            ASSERT_TRUE(shell(in_directory() + TRELLIS_TOOL " chart --size 40x30 " + name)) << name;
        }
        dir_.file("old.png", text("old"));
        before_ = files();
    }

    std::string in_directory() const { return "cd " + dir_.path("") + " && "; }

    Files files() const {
        Files found;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(dir_.path(""))) {
            const std::string name = std::filesystem::relative(entry.path(), dir_.path(""));
            found[name] = entry.is_directory() ? Bytes() : contents(entry.path());
        }
        return found;
    }

    // Puts the directory back as it was.
    void clean() const {
        for (const auto& entry : std::filesystem::directory_iterator(dir_.path(""))) {
            std::filesystem::remove_all(entry.path());
        }
        for (const auto& [name, bytes] : before_) { dir_.file(name, bytes); }
    }

    struct Run {
        bool succeeded;
        std::vector<std::string> log;
        Bytes out, error;
        Files files;
    };

    Run run(const Command& command, const std::string& injection) const {
        clean();
        const bool succeeded =
            shell(in_directory() + "strace -f -o " + results_.path("log") + " " + injection + " " TRELLIS_TOOL " " +
                  command.arguments + " >" + results_.path("out") + " 2>" + results_.path("error"));
        const Bytes log = contents(results_.path("log"));
        std::istringstream lines({log.begin(), log.end()});
        Run result = {succeeded, {}, contents(results_.path("out")), contents(results_.path("error")), files()};
        for (std::string line; std::getline(lines, line);) { result.log.push_back(line); }
        if (result.succeeded && command.stamped > 0) {
            support::put(result.files[command.target], 0, zeros(command.stamped));
        }
        return result;
    }

    std::string complaint(const Command& command, const std::string& call, const Run& good, const Run& faulty) const {
        // What cannot be removed is left.
        const Files& wanted = faulty.succeeded ? good.files : before_;
        const bool is_tidy = call.starts_with("unlink") || call == "rmdir" || faulty.files.size() == wanted.size();
        const auto target = [&](const Files& files) {
            return files.contains(command.target) ? files.at(command.target) : Bytes();
        };
        if (faulty.succeeded) {
            const bool is_whole = faulty.out == good.out && target(faulty.files) == target(good.files);
            return is_whole && is_tidy ? "" : "success, but another result";
        }
        // The line of error is written as well.
        const std::string error(faulty.error.begin(), faulty.error.end());
        const auto lines = std::ranges::count(error, '\n');
        if (lines > 1 || (lines == 0 && call != "write") || (lines == 1 && !error.starts_with("trellis: "))) {
            return "not one line: " + error;
        }
        if (target(faulty.files) != target(before_)) { return "the target is not as it was"; }
        return is_tidy ? "" : "something is left: " + error;
    }

    TempDir dir_;
    TempDir results_;
    Files before_;
};

TEST_F(ToolFaults, EndWithAWholeResultOrOneLine) {
    const std::regex call_of("^\\d+ +(\\w+)\\(");
    const Command commands[] = {
        {"convert a.pic b.png", "b.png"},
        {"convert a.dpx b.cin", "b.cin", 2048},
        {"convert --force a.iff old.png", "old.png"},
        {"convert a.png b.pic", "b.pic"},
        {"catalogue a.cin b.png", "b.png"},
        {"header --json a.dpx", ""},
        {"info --json a.iff", ""},
        {"compare a.pic a.iff", ""},
        {"preview a.pic", "a.pic.mpc"},
    };
    for (const Command& command : commands) {
        const Run good = run(command, "");
        ASSERT_TRUE(good.succeeded) << command.arguments;
        // The calls from the first that names a file of ours on.
        std::map<std::string, int> count;
        bool started = false;
        for (const std::string& line : good.log) {
            std::smatch match;
            if (!std::regex_search(line, match, call_of)) { continue; }
            const std::string call = match[1];
            ++count[call];
            started |= line.find("\"a.") != std::string::npos && call != "execve";
            if (!started || !errors.contains(call)) { continue; }
            const std::string fault = call + ":error=" + errors.at(call) + ":when=" + std::to_string(count[call]);
            // A disk may fail once, or from there on.
            const bool lasts = call == "write" || call == "pread64";
            for (const std::string onward : lasts ? std::vector{"", "+"} : std::vector{""}) {
                const Run faulty = run(command, "--seccomp-bpf -e trace=" + call + " -e inject=" + fault + onward);
                EXPECT_EQ(complaint(command, call, good, faulty), "")
                    << command.arguments << " with " << fault << onward;
            }
        }
    }
}

}  // namespace
