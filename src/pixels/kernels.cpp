#include "pixels/kernels.h"

#include <atomic>

#include "pixels/back_ends.h"
#include "pixels/plain.h"

namespace trellis::pixels {

namespace {

// Null until the first call. Whichever thread chooses, it chooses the same.
constinit std::atomic<const Kernels*> in_use = nullptr;

constexpr const Kernels* known[] = {
    &plain::kernels,
#if TRELLIS_HAS_AVX2
    &avx2_kernels,
#endif
};

}  // namespace

std::span<const Kernels* const> back_ends() {
    std::size_t usable = 1;
#if TRELLIS_HAS_AVX2
    usable += __builtin_cpu_supports("avx2") != 0 ? 1 : 0;
#endif
    return std::span(known).first(usable);
}

const Kernels& kernels() {
    const Kernels* table = in_use.load(std::memory_order_relaxed);
    if (table == nullptr) {
        table = back_ends().back();
        in_use.store(table, std::memory_order_relaxed);
    }
    return *table;
}

void use_kernels(const Kernels& table) {
    in_use.store(&table, std::memory_order_relaxed);
}

}  // namespace trellis::pixels
