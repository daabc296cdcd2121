#include "frame/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace trellis {

namespace {

// What a pipe is taken to hold.
constexpr std::uint64_t unknown_size = 1024 * 1024;

constexpr mode_t everyone_may_read_and_write = 0666;  // as far as the user's mask allows

// A call that a signal has interrupted did nothing yet, and is made again.
template <class Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

// Programs that the host starts while a file is open do not inherit it.
int open_file(const char* name, int flags) {
    if (name == nullptr) {
        return no_file;
    }
    return uninterrupted(
        [&] { return ::open(name, flags | O_CLOEXEC, everyone_may_read_and_write); });
}

// An interrupted close has closed the file all the same; a second one might hit a file that another
// thread has opened since.
Error close_file(int& file) {
    const int closing = std::exchange(file, no_file);
    const bool closed = closing == no_file || ::close(closing) == 0 || errno == EINTR;
    return closed ? Error::none : Error::close;
}

// Of a regular file the status has it; block devices and their like are asked where they end.
std::uint64_t size_of(int file) {
    struct stat status {};
    if (fstat(file, &status) == 0 && S_ISREG(status.st_mode)) {
        return static_cast<std::uint64_t>(status.st_size);
    }
    const off_t end = lseek(file, 0, SEEK_END);
    return end >= 0 ? static_cast<std::uint64_t>(end) : unknown_size;
}

}  // namespace

InputFile::~InputFile() {
    static_cast<void>(close());
}

Error InputFile::open(const char* name) {
    TRELLIS_TRY(buffer_.allocate(input_buffer_size));
    file_ = open_file(name, O_RDONLY);
    if (file_ == no_file) {
        return Error::open;
    }
    size_ = size_of(file_);
    can_seek_ = lseek(file_, 0, SEEK_SET) == 0;
    return Error::none;
}

Error InputFile::close() {
    return close_file(file_);
}

Error InputFile::seek(std::uint64_t position) {
    const std::uint64_t ahead = last_ - first_;
    if (position >= position_ && position - position_ <= ahead) {
        consume(static_cast<std::size_t>(position - position_));
        return Error::none;
    }
    if (!can_seek_ || position > INT64_MAX) {
        return Error::seek;
    }
    position_ = position;
    first_ = last_ = 0;
    return Error::none;
}

// Where a file can seek, reads name their place: moving about in it takes no call.
Error InputFile::fetch(std::uint64_t position, void* destination, std::size_t size,
                       std::size_t& got) {
    auto* bytes = static_cast<char*>(destination);
    for (got = 0; got < size;) {
        const ssize_t more = uninterrupted([&] {
            return can_seek_
                       ? pread(file_, bytes + got, size - got, static_cast<off_t>(position + got))
                       : ::read(file_, bytes + got, size - got);
        });
        if (more < 0) {
            return Error::read;
        }
        if (more == 0) {
            break;
        }
        got += static_cast<std::size_t>(more);
    }
    return Error::none;
}

Error InputFile::read_what_is_there(void* destination, std::size_t size, std::size_t& got) {
    got = std::min(size, last_ - first_);
    if (got > 0) {
        std::memcpy(destination, &buffer_[first_], got);
        consume(got);
    }
    if (got == size) {
        return Error::none;
    }
    std::size_t more = 0;
    const Error error = fetch(position_, static_cast<char*>(destination) + got, size - got, more);
    position_ += more;
    got += more;
    return error;
}

Error InputFile::read(void* destination, std::size_t size) {
    std::size_t got = 0;
    TRELLIS_TRY(read_what_is_there(destination, size, got));
    return got == size ? Error::none : Error::read;
}

std::span<const std::uint8_t> InputFile::window(std::size_t wanted, std::size_t read_ahead) {
    if (last_ - first_ < wanted) {
        if (last_ > first_) {
            std::memmove(buffer_.data(), &buffer_[first_], last_ - first_);
        }
        last_ -= first_;
        first_ = 0;
        std::size_t more = 0;
        // What a failing read leaves out is missing like what lies behind the end.
        static_cast<void>(
            fetch(position_ + last_, &buffer_[last_], std::max(wanted, read_ahead) - last_, more));
        last_ += more;
    }
    return {buffer_.data() + first_, last_ - first_};
}

OutputFile::~OutputFile() {
    static_cast<void>(close());
}

Error OutputFile::create(const char* name) {
    TRELLIS_TRY(buffer_.allocate(output_buffer_size));
    file_ = open_file(name, O_WRONLY | O_CREAT | O_TRUNC);
    return file_ == no_file ? Error::open : Error::none;
}

Error OutputFile::write_through(const void* source, std::size_t size) {
    const auto* bytes = static_cast<const char*>(source);
    while (size > 0 && !failed_) {
        const ssize_t written = uninterrupted([&] { return ::write(file_, bytes, size); });
        if (written <= 0) {
            failed_ = true;
            break;
        }
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
    return failed_ ? Error::write : Error::none;
}

Error OutputFile::flush() {
    const std::size_t size = used_;
    used_ = 0;
    return write_through(buffer_.data(), size);
}

// Writes what the buffer has of whole units, and keeps the rest.
Error OutputFile::pass_on_units() {
    const std::size_t rest = std::min(used_, static_cast<std::size_t>(position_ % output_unit));
    const std::size_t size = used_ - rest;
    Error error = write_through(buffer_.data(), size);
    std::memmove(buffer_.data(), buffer_.data() + size, rest);
    used_ = rest;
    return error;
}

Error OutputFile::close() {
    return close_file(file_);
}

Error OutputFile::seek(std::uint64_t position) {
    TRELLIS_TRY(flush());
    if (position > INT64_MAX || lseek(file_, static_cast<off_t>(position), SEEK_SET) < 0) {
        return Error::seek;
    }
    position_ = position;
    return Error::none;
}

Error OutputFile::write(const void* source, std::size_t size) {
    if (size == 0) {
        return Error::none;
    }
    if (size <= output_room) {
        std::uint8_t* bytes = room(size);
        if (bytes == nullptr) {
            return Error::write;
        }
        std::memcpy(bytes, source, size);
        append(size);
        return Error::none;
    }
    // Up to the next unit by way of the buffer, whole units straight from the source.
    const auto* from = static_cast<const std::uint8_t*>(source);
    const std::size_t head = output_unit - static_cast<std::size_t>(position_ % output_unit);
    TRELLIS_TRY(write(from, head));
    TRELLIS_TRY(flush());
    const std::size_t rest = (size - head) % output_unit;
    const std::size_t units = size - head - rest;
    position_ += units;
    TRELLIS_TRY(write_through(from + head, units));
    return write(from + head + units, rest);
}

Error OutputFile::write_zeros(std::uint64_t size) {
    while (size > 0) {
        const auto step = static_cast<std::size_t>(std::min<std::uint64_t>(size, output_room));
        std::uint8_t* zeros = room(step);
        if (zeros == nullptr) {
            return Error::write;
        }
        std::memset(zeros, 0, step);
        append(step);
        size -= step;
    }
    return Error::none;
}

std::uint8_t* OutputFile::room(std::size_t size) {
    if (size > output_buffer_size - used_ && failed(pass_on_units())) {
        return nullptr;
    }
    return buffer_.data() + used_;
}

}  // namespace trellis
