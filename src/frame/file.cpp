#include "frame/file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace trellis {

namespace {

// What a pipe or device is believed to hold.
constexpr std::uint64_t unknown_size = 1024 * 1024;

// C streams without a buffer of their own: ours is the only one, so every transfer is as large as
// we make it and every failure shows at the call that caused it.
std::FILE* open_unbuffered(const char* name, const char* mode) {
    std::FILE* file = name == nullptr ? nullptr : std::fopen(name, mode);
    if (file != nullptr) {
        std::setvbuf(file, nullptr, _IONBF, 0);
    }
    return file;
}

Error close_stream(std::FILE*& file) {
    std::FILE* closing = file;
    file = nullptr;
    return closing == nullptr || std::fclose(closing) == 0 ? Error::none : Error::close;
}

}  // namespace

InputFile::~InputFile() {
    static_cast<void>(close());
}

Error InputFile::open(const char* name) {
    TRELLIS_TRY(buffer_.allocate(input_buffer_size));
    file_ = open_unbuffered(name, "r");
    if (file_ == nullptr) {
        return Error::open;
    }
    struct stat status {};
    const bool is_regular = fstat(fileno(file_), &status) == 0 && S_ISREG(status.st_mode);
    size_ = is_regular ? static_cast<std::uint64_t>(status.st_size) : unknown_size;
    can_seek_ = ftello(file_) >= 0;
    return Error::none;
}

Error InputFile::close() {
    return close_stream(file_);
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
std::size_t InputFile::fetch(std::uint64_t position, void* destination, std::size_t size) {
    if (!can_seek_) {
        return std::fread(destination, 1, size, file_);
    }
    std::size_t got = 0;
    while (got < size) {
        const ssize_t more = pread(fileno(file_), static_cast<char*>(destination) + got, size - got,
                                   static_cast<off_t>(position + got));
        if (more <= 0) {
            break;
        }
        got += static_cast<std::size_t>(more);
    }
    return got;
}

Error InputFile::read(void* destination, std::size_t size) {
    const std::size_t from_buffer = std::min(size, last_ - first_);
    if (from_buffer > 0) {
        std::memcpy(destination, &buffer_[first_], from_buffer);
        consume(from_buffer);
    }
    const std::size_t rest = size - from_buffer;
    if (rest == 0) {
        return Error::none;
    }
    const std::size_t got = fetch(position_, static_cast<char*>(destination) + from_buffer, rest);
    position_ += got;
    return got == rest ? Error::none : Error::read;
}

std::span<const std::uint8_t> InputFile::window(std::size_t wanted, std::size_t read_ahead) {
    if (last_ - first_ < wanted) {
        if (last_ > first_) {
            std::memmove(buffer_.data(), &buffer_[first_], last_ - first_);
        }
        last_ -= first_;
        first_ = 0;
        last_ += fetch(position_ + last_, &buffer_[last_], std::max(wanted, read_ahead) - last_);
    }
    return {buffer_.data() + first_, last_ - first_};
}

OutputFile::~OutputFile() {
    static_cast<void>(close());
}

Error OutputFile::create(const char* name) {
    TRELLIS_TRY(buffer_.allocate(output_buffer_size));
    file_ = open_unbuffered(name, "w");
    return file_ == nullptr ? Error::open : Error::none;
}

Error OutputFile::write_through(const void* source, std::size_t size) {
    return std::fwrite(source, 1, size, file_) == size ? Error::none : Error::write;
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
    return close_stream(file_);
}

Error OutputFile::seek(std::uint64_t position) {
    TRELLIS_TRY(flush());
    if (position > INT64_MAX || fseeko(file_, static_cast<off_t>(position), SEEK_SET) != 0) {
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
