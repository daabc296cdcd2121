// Bytes that come or go otherwise than as a picture file.

#include "streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <vector>

#include "trellis/errors.h"
#include "trellis/host.hpp"

#include "unfinished_file.h"

namespace trellis::host {

namespace {

std::string system_reason() {
    return std::generic_category().message(errno);
}

/// A call of read or write that goes on after an interrupt.
template <class Call>
ssize_t persistently(Call call) {
    ssize_t count = 0;
    do {
        count = call();
    } while (count < 0 && errno == EINTR);
    return count;
}

}  // namespace

std::string temporary_directory() {
    const char* directory = std::getenv("TMPDIR");
    return directory != nullptr && *directory != '\0' ? directory : "/tmp";
}

std::string name_of_descriptor(int descriptor) {
    switch (descriptor) {
        case STDIN_FILENO:
            return "standard input";
        case STDOUT_FILENO:
            return "standard output";
        default:
            return "descriptor " + std::to_string(descriptor);
    }
}

void copy_bytes(int from, const std::string& from_name, int to, const std::string& to_name) {
    std::vector<char> buffer(std::size_t{1} << 18);
    while (true) {
        const ssize_t count =
            persistently([&] { return read(from, buffer.data(), buffer.size()); });
        if (count < 0) {
            throw Error(from_name, TRELLIS_READ_ERROR, system_reason());
        }
        if (count == 0) {
            return;
        }
        for (ssize_t done = 0; done < count;) {
            const ssize_t written = persistently([&] {
                return write(to, buffer.data() + done, static_cast<std::size_t>(count - done));
            });
            if (written < 0) {
                throw Error(to_name, TRELLIS_WRITE_ERROR, system_reason());
            }
            done += written;
        }
    }
}

StreamCopy::StreamCopy(int descriptor, const std::string& extension) try
    : file_(std::make_unique<UnfinishedFile>(temporary_directory(),
                                             extension.empty() ? "" : "." + extension, 0600)) {
    copy_bytes(descriptor, name_of_descriptor(descriptor), file_->descriptor(),
               temporary_directory());
} catch (const std::system_error& error) {
    throw Error(temporary_directory(), TRELLIS_OPEN_ERROR, error.code().message());
}

StreamCopy::~StreamCopy() = default;

std::string StreamCopy::path() const {
    return file_->path();
}

void copy_file(const std::string& from, const std::string& to, bool force) {
    const int source = open(from.c_str(), O_RDONLY | O_CLOEXEC);
    if (source < 0) {
        throw Error(from, TRELLIS_OPEN_ERROR, system_reason());
    }
    struct Close {
        int descriptor;
        ~Close() { close(descriptor); }
    } const closes{source};
    SafeFile copy(to, force);
    copy_bytes(source, from, copy.descriptor(), to);
    copy.keep();
}

}  // namespace trellis::host
