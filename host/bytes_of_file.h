#pragma once

// Pieces of a file, for those who look at headers.

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace trellis::host {

class BytesOfFile {
  public:
    /// Throws Error when the file cannot be opened.
    explicit BytesOfFile(std::string path);

    /// Up to `size` bytes at `offset`: fewer where the file ends. Throws Error when reading fails.
    std::string at(std::uint64_t offset, std::size_t size);

  private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::string path_;
    std::unique_ptr<std::FILE, Close> file_;
};

}  // namespace trellis::host
