#include "frame/cpu.h"

namespace trellis {

namespace {

bool vector_kernels_allowed = true;

}  // namespace

bool use_avx2() {
    return vector_kernels_allowed && __builtin_cpu_supports("avx2") != 0;
}

void allow_vector_kernels(bool allowed) {
    vector_kernels_allowed = allowed;
}

}  // namespace trellis
