#pragma once

// Files that appear whole or not at all.

#include <sys/types.h>

#include <string>

namespace tool {

/// A file that is written under a temporary name beside its target and takes the target's name when
/// it is complete. Abandoned, by scope or by an interrupt from the keyboard, it leaves nothing. One
/// at a time.
class SafeFile {
  public:
    /// Throws FileError when the target exists and `force` does not allow to replace it, or when
    /// nothing can be created beside it.
    SafeFile(const std::string& target, bool force);
    SafeFile(const SafeFile&) = delete;
    SafeFile& operator=(const SafeFile&) = delete;
    ~SafeFile();

    /// The name to write to. The file exists, empty, with the permissions of a new file.
    const char* temporary_name() const { return temporary_.c_str(); }

    /// Gives the complete file its name. Throws FileError.
    void keep();

  private:
    void create_temporary();

    std::string target_;  // as the user wrote it
    std::string place_;   // where that leads: a link is followed
    std::string temporary_;
    bool force_;
    bool replaces_ = false;
    mode_t old_mode_ = 0;  // of the file that is replaced
};

}  // namespace tool
