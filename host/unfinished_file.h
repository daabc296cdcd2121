#pragma once

// Files that are gone unless somebody wants to keep them.

#include <sys/types.h>

#include <string>

namespace trellis::host {

/// A file with a name of its own, `.trellis-MACHINE-PROCESS-NUMBER`, in a directory. It is removed
/// when the object goes, by remove_unfinished() too, and if the process was killed, by the next one
/// on this machine that makes such a file in the same directory: a file whose process lives is
/// locked.
class UnfinishedFile {
  public:
    /// `suffix` ends the name. Throws std::system_error.
    UnfinishedFile(const std::string& directory, const std::string& suffix, mode_t mode);
    UnfinishedFile(const UnfinishedFile&) = delete;
    UnfinishedFile& operator=(const UnfinishedFile&) = delete;
    ~UnfinishedFile();

    const char* path() const { return path_; }

    /// The file, open for reading and writing.
    int descriptor() const { return descriptor_; }

  private:
    bool create(const std::string& path, mode_t mode);

    const char* path_ = nullptr;
    int descriptor_ = -1;
};

}  // namespace trellis::host
