#include "bytes_of_file.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include "trellis/errors.h"
#include "trellis/host.hpp"

namespace trellis::host {

namespace {

std::string system_reason() {
    return std::generic_category().message(errno);
}

}  // namespace

BytesOfFile::BytesOfFile(std::string path)
    : path_(std::move(path)), file_(std::fopen(path_.c_str(), "rbe")) {
    if (file_ == nullptr) {
        throw Error(path_, TRELLIS_OPEN_ERROR, system_reason());
    }
}

std::string BytesOfFile::at(std::uint64_t offset, std::size_t size) {
    std::string bytes(size, '\0');
    if (fseeko(file_.get(), static_cast<off_t>(offset), SEEK_SET) != 0) {
        throw Error(path_, TRELLIS_READ_ERROR, system_reason());
    }
    bytes.resize(std::fread(bytes.data(), 1, size, file_.get()));
    if (std::ferror(file_.get()) != 0) {
        throw Error(path_, TRELLIS_READ_ERROR, system_reason());
    }
    return bytes;
}

}  // namespace trellis::host
