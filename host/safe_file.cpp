#include "safe_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "trellis/errors.h"
#include "trellis/host.hpp"

namespace trellis::host {

namespace {

constexpr int unwriteable = 23;  // "File is not writeable"

constexpr std::array interrupts = {SIGHUP, SIGINT, SIGTERM};

// The file and the directory that an interrupt must remove; empty when there are none.
std::array<char, PATH_MAX> unfinished{};
std::array<char, PATH_MAX> unfinished_directory{};

void remove_and_die(int signal) {
    if (unfinished[0] != '\0') {
        unlink(unfinished.data());
        rmdir(unfinished_directory.data());
    }
    raise(signal);  // by now with its usual effect, once this handler returns
}

// An interrupt that was to be ignored, as under nohup, stays so.
void catch_interrupts() {
    struct sigaction action {};
    action.sa_handler = remove_and_die;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : interrupts) {
        struct sigaction old {};
        sigaction(signal, nullptr, &old);
        if (old.sa_handler == SIG_DFL) {
            sigaction(signal, &action, nullptr);
        }
    }
}

/// Holds interrupts back for as long as a file and what is known of it do not agree.
class InterruptsHeldBack {
  public:
    InterruptsHeldBack() {
        sigset_t held;
        sigemptyset(&held);
        for (const int signal : interrupts) {
            sigaddset(&held, signal);
        }
        sigprocmask(SIG_BLOCK, &held, &before_);
    }
    InterruptsHeldBack(const InterruptsHeldBack&) = delete;
    InterruptsHeldBack& operator=(const InterruptsHeldBack&) = delete;
    ~InterruptsHeldBack() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

  private:
    sigset_t before_{};
};

}  // namespace

SafeFile::SafeFile(const std::string& target, bool force)
    : target_(target), place_(target), force_(force) {
    struct stat status {};
    if (stat(target.c_str(), &status) == 0) {
        if (!force) {
            throw Error(target, unwriteable, "it exists; --force replaces it");
        }
        if (!S_ISREG(status.st_mode) || access(target.c_str(), W_OK) != 0) {
            throw Error(target, unwriteable);
        }
        std::error_code ignored;
        place_ = std::filesystem::canonical(target, ignored).string();
        replaces_ = true;
        old_mode_ = status.st_mode & 07777;
    }
    create_directory();
}

void SafeFile::create_directory() {
    const std::filesystem::path place = std::filesystem::absolute(place_);
    const std::string prefix = ".trellis-" + std::to_string(getpid()) + "-";
    const InterruptsHeldBack held;
    for (int number = 0;; ++number) {
        directory_ = place.parent_path() / (prefix + std::to_string(number));
        temporary_ = directory_ + "/" + std::filesystem::path(target_).filename().string();
        if (temporary_.size() >= unfinished.size()) {
            throw Error(target_, TRELLIS_OPEN_ERROR, std::strerror(ENAMETOOLONG));
        }
        if (mkdir(directory_.c_str(), 0777) == 0) {
            break;
        }
        if (errno != EEXIST) {
            const int reason = errno;
            temporary_.clear();
            throw Error(target_, TRELLIS_OPEN_ERROR, std::strerror(reason));
        }
    }
    std::copy_n(temporary_.c_str(), temporary_.size() + 1, unfinished.begin());
    std::copy_n(directory_.c_str(), directory_.size() + 1, unfinished_directory.begin());
    catch_interrupts();
}

SafeFile::~SafeFile() {
    const InterruptsHeldBack held;
    unlink(temporary_.c_str());
    rmdir(directory_.c_str());
    unfinished[0] = '\0';
}

int SafeFile::written_by(const std::function<int(const char* name)>& write) {
    const std::string name = std::filesystem::path(target_).filename().string();
    const int before = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (before < 0 || chdir(directory_.c_str()) != 0) {
        throw Error(target_, TRELLIS_OPEN_ERROR, std::strerror(errno));
    }
    const int code = write(name.c_str());
    const bool back = fchdir(before) == 0;
    close(before);
    if (!back) {
        throw Error(target_, TRELLIS_OPEN_ERROR, std::strerror(errno));
    }
    return code;
}

void SafeFile::keep() {
    if (replaces_) {
        chmod(temporary_.c_str(), old_mode_);
    }
    const InterruptsHeldBack held;
    // Somebody else may have created the target in the meantime. Not every file system can refuse
    // to replace it.
    int result = renameat2(AT_FDCWD, temporary_.c_str(), AT_FDCWD, place_.c_str(),
                           force_ ? 0 : RENAME_NOREPLACE);
    if (result != 0 && errno == EINVAL) {
        result = rename(temporary_.c_str(), place_.c_str());
    }
    if (result != 0) {
        throw Error(target_, unwriteable, std::strerror(errno));
    }
}

}  // namespace trellis::host
