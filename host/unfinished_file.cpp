#include "unfinished_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <memory>
#include <mutex>
#include <set>
#include <system_error>

#include "trellis/host.hpp"

namespace trellis::host {

namespace {

// The paths of all unfinished files, in a list that only grows. Whoever exchanges a path for null
// owns its text, so that a signal handler and the thread that writes the file never share one.
struct Slot {
    std::atomic<const char*> path{nullptr};
    Slot* next = nullptr;
};

std::atomic<Slot*> slots{nullptr};
static_assert(std::atomic<const char*>::is_always_lock_free);  // a signal handler uses them

void enter(const char* path) {
    for (Slot* slot = slots; slot != nullptr; slot = slot->next) {
        const char* empty = nullptr;
        if (slot->path.compare_exchange_strong(empty, path)) {
            return;
        }
    }
    auto* slot = new Slot;
    slot->path = path;
    slot->next = slots;
    while (!slots.compare_exchange_weak(slot->next, slot)) {
    }
}

/// Whether the path was still there to be taken.
bool take_out(const char* path) {
    for (Slot* slot = slots; slot != nullptr; slot = slot->next) {
        const char* expected = path;
        if (slot->path.compare_exchange_strong(expected, nullptr)) {
            return true;
        }
    }
    return false;
}

// Machines may share a directory, and only its own can know whether a process lives.
std::string name_of_machine() {
    char name[HOST_NAME_MAX + 1] = "";
    gethostname(name, sizeof name - 1);
    return name;
}

std::string prefix() {
    return ".trellis-" + name_of_machine() + "-";
}

/// Removes a file that nobody has locked.
void remove_if_left(const std::string& path) {
    const int file = open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (file < 0) {
        return;
    }
    if (flock(file, LOCK_EX | LOCK_NB) == 0) {
        unlink(path.c_str());
    }
    close(file);
}

/// Removes what processes of this machine left in a directory when they were killed. Looks at each
/// directory once: one may hold a hundred thousand frames.
void remove_leftovers(const std::string& directory) {
    static std::mutex mutex;
    static std::set<std::string> seen;
    {
        const std::lock_guard lock(mutex);
        if (!seen.insert(directory).second) {
            return;
        }
    }
    const std::unique_ptr<DIR, int (*)(DIR*)> list(opendir(directory.c_str()), closedir);
    const std::string start = prefix();
    while (const dirent* entry = list == nullptr ? nullptr : readdir(list.get())) {
        const std::string name = entry->d_name;
        if (name.starts_with(start)) {
            remove_if_left(directory + "/" + name);
        }
    }
}

}  // namespace

UnfinishedFile::UnfinishedFile(const std::string& directory, const std::string& suffix,
                               mode_t mode) {
    static std::atomic<unsigned int> number{0};
    remove_leftovers(directory);
    const std::string start = directory + "/" + prefix() + std::to_string(getpid()) + "-";
    while (!create(start + std::to_string(number++) + suffix, mode)) {
    }
}

// False when somebody else has a file of this name, or took this one for a leftover before it was
// locked. A file system without locks has no leftovers removed.
bool UnfinishedFile::create(const std::string& path, mode_t mode) {
    auto text = std::make_unique<char[]>(path.size() + 1);
    path.copy(text.get(), path.size());
    enter(text.get());
    path_ = text.release();
    descriptor_ = open(path_, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    const int reason = descriptor_ < 0 ? errno : 0;
    if (reason == 0) {
        struct stat status {};
        const bool locked = flock(descriptor_, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
        const bool taken = fstat(descriptor_, &status) == 0 && status.st_nlink == 0;
        if (locked && !taken) {
            return true;
        }
        close(descriptor_);
        descriptor_ = -1;
    }
    if (take_out(path_)) {
        delete[] path_;
    }
    path_ = nullptr;
    if (reason != 0 && reason != EEXIST) {
        throw std::system_error(reason, std::generic_category());
    }
    return false;
}

UnfinishedFile::~UnfinishedFile() {
    unlink(path_);
    if (take_out(path_)) {
        delete[] path_;
    }
    close(descriptor_);
}

void remove_unfinished() noexcept {
    for (Slot* slot = slots; slot != nullptr; slot = slot->next) {
        if (const char* path = slot->path.exchange(nullptr)) {
            unlink(path);
        }
    }
}

}  // namespace trellis::host
