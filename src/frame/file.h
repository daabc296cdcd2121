#pragma once

// Files as the formats read and write them: one buffer, large transfers, every length checked
// against what the file really holds.

#include <cstddef>
#include <cstdint>
#include <span>

#include "frame/error.h"
#include "frame/memory.h"

namespace trellis {

/// The size of the one buffer of a file open for reading, in bytes.
inline constexpr std::size_t input_buffer_size = 64 * 1024;

/// That of a file being written. It is passed on in pieces that begin and end on whole units of the
/// file: the larger and the better aligned they are, the less a system spends on each page.
inline constexpr std::size_t output_buffer_size = 256 * 1024;
inline constexpr std::size_t output_unit = 16 * 1024;

/// The most that a caller gets of it at once.
inline constexpr std::size_t output_room = 64 * 1024;

inline constexpr int no_file = -1;

/// A file open for reading. Closed by scope, or by close() where the format reports a failing
/// close.
class InputFile {
  public:
    InputFile() = default;
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;
    ~InputFile();

    Error open(const char* name);
    Error close();

    /// How many bytes the file holds. Pipes cannot say; they are taken to hold as much as a small
    /// file, so that no header on them can ask for much memory.
    std::uint64_t size() const { return size_; }
    std::uint64_t position() const { return position_; }
    std::uint64_t remaining() const { return size_ > position_ ? size_ - position_ : 0; }

    /// False for pipes and the like.
    bool can_seek() const { return can_seek_; }
    Error seek(std::uint64_t position);

    /// Reads exactly `size` bytes, else Error::read.
    Error read(void* destination, std::size_t size);

    /// Reads `size` bytes, or as many as there are before the end of the file: `got` says how many.
    /// Error::read is a failing device, never a short file.
    Error read_what_is_there(void* destination, std::size_t size, std::size_t& got);

    template <class Record>
    Error read_record(Record& record) {
        return read(&record, sizeof record);
    }

    /// The bytes that come next, read ahead into the buffer: at least `wanted` of them (at most
    /// input_buffer_size), fewer only where the file ends or cannot be read. `read_ahead` says how
    /// many to fetch when they are not there yet; a caller that is about to move elsewhere asks for
    /// few.
    std::span<const std::uint8_t> window(std::size_t wanted,
                                         std::size_t read_ahead = input_buffer_size);

    /// Moves past `size` bytes of the window.
    void consume(std::size_t size) {
        first_ += size;
        position_ += size;
    }

  private:
    Error fetch(std::uint64_t position, void* destination, std::size_t size, std::size_t& got);

    int file_ = no_file;
    std::uint64_t size_ = 0;
    bool can_seek_ = false;
    std::uint64_t position_ = 0;  // of the next byte that the caller gets
    Block<std::uint8_t> buffer_;  // bytes first_ to last_ are read ahead
    std::size_t first_ = 0;
    std::size_t last_ = 0;
};

/// A file being written. Bytes are gathered in the buffer and written in large pieces; what is
/// still there must be written with flush() before the file counts as saved.
class OutputFile {
  public:
    OutputFile() = default;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();

    /// Creates the file, or empties one that exists.
    Error create(const char* name);
    Error flush();
    Error close();

    std::uint64_t position() const { return position_; }
    Error seek(std::uint64_t position);

    Error write(const void* source, std::size_t size);
    Error write_zeros(std::uint64_t size);

    template <class Record>
    Error write_record(const Record& record) {
        return write(&record, sizeof record);
    }

    /// Room for `size` bytes (at most output_room) in the buffer, for callers that make their bytes
    /// in place; null when the bytes before it could not be written. append() keeps them.
    std::uint8_t* room(std::size_t size);
    void append(std::size_t size) {
        used_ += size;
        position_ += size;
    }

  private:
    Error write_through(const void* source, std::size_t size);
    Error pass_on_units();

    int file_ = no_file;
    std::uint64_t position_ = 0;  // of the next byte that the caller gives
    Block<std::uint8_t> buffer_;
    std::size_t used_ = 0;
    bool failed_ = false;  // a write has, so every later one and the flush at the end do
};

}  // namespace trellis
