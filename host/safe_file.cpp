// Files that appear whole or not at all.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include "trellis/errors.h"
#include "trellis/host.hpp"

#include "unfinished_file.h"

namespace trellis::host {

namespace {

constexpr int unwriteable = 23;  // "File is not writeable"

std::string system_reason(int number) {
    return std::generic_category().message(number);
}

/// What a path leads to when links are followed, also if there is nothing yet.
std::filesystem::path end_of_links(std::filesystem::path path) {
    constexpr int most_links = 40;  // as many as the system follows
    std::error_code not_a_link;
    for (int i = 0; i < most_links; ++i) {
        const std::filesystem::path next = std::filesystem::read_symlink(path, not_a_link);
        if (not_a_link) {
            break;
        }
        path = path.parent_path() / next;
    }
    return path;
}

/// Renames a file, but replaces none.
int rename_to_nothing(const char* from, const char* to) {
    int result = renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE);
    if (result != 0 && errno == EINVAL) {  // a file system that cannot, but can link
        result = link(from, to);
        if (result == 0) {
            unlink(from);
        } else if (errno != EEXIST) {
            result = rename(from, to);
        }
    }
    return result;
}

/// The rights and owners of the file that is to be replaced, if there is one.
std::optional<struct stat> replaced_file(const std::string& target, bool force) {
    struct stat status {};
    if (stat(target.c_str(), &status) != 0) {
        return {};
    }
    if (!force) {
        throw Error(target, unwriteable, "it exists; force replaces it");
    }
    if (!S_ISREG(status.st_mode)) {
        throw Error(target, unwriteable, "it is not a regular file");
    }
    if (access(target.c_str(), W_OK) != 0) {
        throw Error(target, unwriteable, system_reason(errno));
    }
    return status;
}

}  // namespace

struct SafeFile::State {
    std::string target;  // as the caller named it
    std::string place;   // where links lead from there
    bool force;
    UnfinishedFile file;
};

SafeFile::SafeFile(const std::string& target, bool force) try {
    const std::optional<struct stat> replaced = replaced_file(target, force);
    const std::filesystem::path place = end_of_links(target);
    const std::filesystem::path parent = place.parent_path();
    // Side files are made by the name of their picture, so the extension is kept; a name that is
    // too long for the directory is found out now rather than in the end.
    const std::string extension = place.extension();
    constexpr std::size_t longest_extension = 8;
    if (place.filename().native().size() > NAME_MAX) {
        throw Error(target, TRELLIS_OPEN_ERROR, system_reason(ENAMETOOLONG));
    }
    state_ = std::unique_ptr<State>(
        new State{target, place, force,
                  UnfinishedFile(parent.empty() ? "." : parent,
                                 extension.size() <= longest_extension ? extension : "", 0666)});
    if (replaced) {
        // Another's file stays its owner's where the system lets us; the mode comes last, because a
        // new owner can take from it.
        [[maybe_unused]] const int refused =
            fchown(state_->file.descriptor(), replaced->st_uid, replaced->st_gid);
        fchmod(state_->file.descriptor(), replaced->st_mode & 07777);
    }
} catch (const std::system_error& error) {
    throw Error(target, TRELLIS_OPEN_ERROR, error.code().message());
}

SafeFile::~SafeFile() = default;

const char* SafeFile::path() const {
    return state_->file.path();
}

int SafeFile::descriptor() const {
    return state_->file.descriptor();
}

void SafeFile::keep() {
    const auto put = state_->force ? rename : rename_to_nothing;
    if (put(path(), state_->place.c_str()) != 0) {
        throw Error(state_->target, unwriteable, system_reason(errno));
    }
}

}  // namespace trellis::host
