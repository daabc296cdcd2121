// Counts what the library allocates for one call, and lets it run out of memory on demand. The linker
// hands the calls of malloc, calloc and free in the library's objects to the functions here (--wrap);
// operator new, which the tests use, lies in a library of its own and is not concerned.

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <unordered_map>

#include "support/support.h"

namespace {

struct Counter {
    std::mutex mutex;
    std::unordered_map<void*, std::size_t> blocks;
    std::size_t live = 0;
    std::size_t highest = 0;
    int until_failure = -1;  // allocations that still succeed; -1: all of them
};

Counter& counter() {
    static auto& counter = *new Counter;  // blocks are freed until the process ends
    return counter;
}

bool may_allocate() {
    const std::lock_guard lock(counter().mutex);
    int& left = counter().until_failure;
    if (left == 0) { return false; }
    if (left > 0) { --left; }
    return true;
}

void forget(void* block) {
    Counter& c = counter();
    const std::lock_guard lock(c.mutex);
    if (const auto found = c.blocks.find(block); found != c.blocks.end()) {
        c.live -= std::min(c.live, found->second);
        c.blocks.erase(found);
    }
}

void* remember(void* block, std::size_t size) {
    Counter& c = counter();
    const std::lock_guard lock(c.mutex);
    if (block != nullptr) {
        c.blocks[block] = size;
        c.live += size;
        c.highest = std::max(c.highest, c.live);
    }
    return block;
}

}  // namespace

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void __real_free(void* block);

void* __wrap_malloc(std::size_t size) { return may_allocate() ? remember(__real_malloc(size), size) : nullptr; }

void* __wrap_calloc(std::size_t count, std::size_t size) {
    return may_allocate() ? remember(__real_calloc(count, size), count * size) : nullptr;
}

void __wrap_free(void* block) {
    forget(block);
    __real_free(block);
}
}

namespace support {

void start_counting_memory() {
    const std::lock_guard lock(counter().mutex);
    counter().live = counter().highest = 0;
}

std::size_t most_memory() {
    const std::lock_guard lock(counter().mutex);
    return counter().highest;
}

void fail_allocations_after(int count) {
    const std::lock_guard lock(counter().mutex);
    counter().until_failure = count;
}

}  // namespace support
