#pragma once

// From comparisons of neighbours to runs. Inlined always, so that it is compiled for the processor
// of its caller.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "pixels/kernels.h"

namespace trellis::pixels {

/// Makes runs of masks, of which each bit says whether a run goes on behind that place.
class RunCollector {
  public:
    /// A run ends so many places behind the last one that says so.
    RunCollector(Run* runs, std::size_t lag) : runs_(runs), lag_(lag) {}

    /// The next 64 places, of which the first is `at`. The last mask has the highest bit clear.
    [[gnu::always_inline]] void add(std::uint64_t mask, std::size_t at) {
        const std::uint64_t before = mask << 1 | open_;
        open_ = mask >> 63;
        begins_ += store_places(mask & ~before, at, &Run::begin, runs_ + begins_);
        ends_ += store_places(before & ~mask, at + lag_, &Run::end, runs_ + ends_);
    }

    std::size_t count() const { return ends_; }

  private:
    // Four at once: how many there are is not to be foreseen, but mostly few.
    [[gnu::always_inline]] static std::size_t store_places(std::uint64_t mask, std::size_t at,
                                                           std::size_t Run::*place, Run* runs) {
        constexpr std::uint64_t highest = std::uint64_t{1} << 63;
        const auto count = static_cast<std::size_t>(std::popcount(mask));
        for (std::size_t i = 0; i < count; i += 4) {
            for (std::size_t k = 0; k < 4; ++k) {
                runs[i + k].*place =
                    at + static_cast<std::size_t>(std::countr_zero(mask | highest));
                mask &= mask - 1;
            }
        }
        return count;
    }

    Run* runs_;
    std::size_t lag_;
    std::size_t begins_ = 0;
    std::size_t ends_ = 0;
    std::uint64_t open_ = 0;
};

namespace plain {

/// The mask of fewer than 64 places more, where a row ends: whether three equal bytes begin.
inline std::uint64_t triples(const std::uint8_t* bytes, std::size_t size) {
    std::uint64_t mask = 0;
    for (std::size_t i = 0; i + 2 < size; ++i) {
        const bool equal = bytes[i] == bytes[i + 1] && bytes[i] == bytes[i + 2];
        mask |= std::uint64_t{equal} << i;
    }
    return mask;
}

/// The same of pixels of four bytes: whether two equal ones begin.
inline std::uint64_t pairs(const std::uint8_t* row, std::size_t count) {
    std::uint64_t mask = 0;
    for (std::size_t i = 0; i + 1 < count; ++i) {
        const bool equal = std::memcmp(row + 4 * i, row + 4 * (i + 1), 4) == 0;
        mask |= std::uint64_t{equal} << i;
    }
    return mask;
}

}  // namespace plain

}  // namespace trellis::pixels
