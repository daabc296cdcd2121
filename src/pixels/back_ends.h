#pragma once

// The tables for single kinds of processors, where the library is built for their family.

#include "pixels/kernels.h"

#if defined(__x86_64__) || defined(__i386__)
#define TRELLIS_HAS_AVX2 1
#else
#define TRELLIS_HAS_AVX2 0
#endif

#if defined(__aarch64__) && !defined(__AARCH64EB__)
#define TRELLIS_HAS_NEON 1
#else
#define TRELLIS_HAS_NEON 0
#endif

namespace trellis::pixels {

#if TRELLIS_HAS_AVX2
extern const Kernels avx2_kernels;
#endif

#if TRELLIS_HAS_NEON
extern const Kernels neon_kernels;
#endif

}  // namespace trellis::pixels
