#pragma once

// Files that appear whole or not at all.

#include <sys/types.h>

#include <functional>
#include <string>

namespace trellis::host {

/// A file that is written in a directory of its own beside its target and takes the target's place
/// when it is complete. Abandoned, by scope or by an interrupt from the keyboard, it leaves
/// nothing. One at a time.
class SafeFile {
  public:
    /// Throws Error when the target exists and `force` does not allow to replace it, or when
    /// nothing can be created beside it.
    SafeFile(const std::string& target, bool force);
    SafeFile(const SafeFile&) = delete;
    SafeFile& operator=(const SafeFile&) = delete;
    ~SafeFile();

    /// Calls `write` with the target's name alone, the file's directory being the current one: what
    /// formats keep of the name in their headers is right, and side files come beside it. Returns
    /// what `write` does.
    int written_by(const std::function<int(const char* name)>& write);

    /// Gives the complete file its place. Throws Error.
    void keep();

  private:
    void create_directory();

    std::string target_;     // as the user wrote it
    std::string place_;      // where that leads: a link is followed
    std::string directory_;  // absolute, like the next
    std::string temporary_;
    bool force_;
    bool replaces_ = false;
    mode_t old_mode_ = 0;  // of the file that is replaced
};

}  // namespace trellis::host
