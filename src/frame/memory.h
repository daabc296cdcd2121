#pragma once

// Temporary memory of one call, freed by scope.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <type_traits>

#include "frame/error.h"

namespace trellis {

/// An array of plain values on the heap. Nothing throws: a failed allocation is Error::allocation.
template <class T>
requires(std::is_trivially_copyable_v<T> && alignof(T) <= alignof(std::max_align_t)) class Block {
  public:
    Block() = default;
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
    ~Block() { std::free(data_); }

    /// Replaces the contents by `count` zero values. Of a large block, pages that nobody touches
    /// cost nothing.
    Error allocate_zeroed(std::uint64_t count) { return take(count, true); }

    /// Replaces the contents by `count` values that the caller writes before reading.
    Error allocate(std::uint64_t count) { return take(count, false); }

    /// Gives the memory back.
    void release() {
        std::free(data_);
        data_ = nullptr;
        size_ = 0;
    }

    T* data() { return data_; }
    std::size_t size() const { return size_; }
    T& operator[](std::size_t i) { return data_[i]; }
    const T& operator[](std::size_t i) const { return data_[i]; }
    std::span<T> span() { return {data_, size_}; }

  private:
    Error take(std::uint64_t count, bool zeroed) {
        release();
        if (count > PTRDIFF_MAX / sizeof(T)) {
            return Error::allocation;
        }
        const auto n = static_cast<std::size_t>(count);
        const std::size_t bytes = std::max<std::size_t>(n, 1) * sizeof(T);  // null is a failure
        data_ = static_cast<T*>(zeroed ? std::calloc(bytes, 1) : std::malloc(bytes));
        if (data_ == nullptr) {
            return Error::allocation;
        }
        size_ = n;
        return Error::none;
    }

    T* data_ = nullptr;
    std::size_t size_ = 0;
};

}  // namespace trellis
