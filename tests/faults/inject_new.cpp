// For programs of C++ code that throws: `new` takes its memory where faults are injected.

#include <cstdlib>
#include <new>

void* operator new(std::size_t size) {
    if (void* block = std::malloc(size != 0 ? size : 1)) { return block; }
    throw std::bad_alloc();
}

void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t /*size*/) noexcept { std::free(block); }
