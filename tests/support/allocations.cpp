// Counts what the library allocates, and lets it run out of memory on demand: all of its memory
// comes through the form of new[] that returns null instead of throwing.

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <utility>

#include "support/support.h"

namespace {

std::size_t live = 0;
std::size_t highest = 0;
int until_failure = -1;  // allocations that still succeed; -1: all of them

// In front of every block: its size, on an alignment that fits everything.
constexpr std::size_t prefix = alignof(std::max_align_t);

}  // namespace

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    if (until_failure == 0) { return nullptr; }
    if (until_failure > 0) { --until_failure; }
    auto* block = static_cast<char*>(std::malloc(size + prefix));
    if (block == nullptr) { return nullptr; }
    *reinterpret_cast<std::size_t*>(block) = size;
    live += size;
    highest = std::max(highest, live);
    return block + prefix;
}

void* operator new[](std::size_t size) {
    const int library_only = std::exchange(until_failure, -1);
    void* block = operator new[](size, std::nothrow);
    until_failure = library_only;
    if (block == nullptr) { throw std::bad_alloc(); }
    return block;
}

void operator delete[](void* memory) noexcept {
    if (memory != nullptr) {
        char* block = static_cast<char*>(memory) - prefix;
        live -= *reinterpret_cast<std::size_t*>(block);
        std::free(block);
    }
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept { operator delete[](memory); }

void operator delete[](void* memory, const std::nothrow_t& /*tag*/) noexcept { operator delete[](memory); }

namespace support {

void start_counting_memory() {
    live = 0;
    highest = 0;
}

std::size_t most_memory() { return highest; }

void fail_allocations_after(int count) { until_failure = count; }

}  // namespace support
