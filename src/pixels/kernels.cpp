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
#elif TRELLIS_HAS_NEON
    &neon_kernels,
#endif
};

}  // namespace

std::span<const Kernels* const> back_ends() {
    const std::span<const Kernels* const> all(known);
#if TRELLIS_HAS_AVX2
    if (__builtin_cpu_supports("avx2") == 0) {
        return all.first(1);
    }
#endif
    return all;  // every 64-bit ARM processor has NEON
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
