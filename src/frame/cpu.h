#pragma once

// Choosing vector kernels at run time.

namespace trellis {

/// True when the processor has AVX2 and the vector kernels have not been turned off.
bool use_avx2();

/// For tests and benchmarks: `false` makes every kernel run its plain routine.
void allow_vector_kernels(bool allowed);

}  // namespace trellis
