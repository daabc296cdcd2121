#pragma once

#include <cstddef>
#include <memory>

#include "trellis/examine.hpp"

namespace trellis::host {

/// XXH3 with 128 bits of bytes that come piece by piece.
class Hasher {
  public:
    Hasher();
    ~Hasher();
    Hasher(const Hasher&) = delete;
    Hasher& operator=(const Hasher&) = delete;

    void add(const void* bytes, std::size_t size);
    Checksum checksum() const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace trellis::host
