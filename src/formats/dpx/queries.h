#pragma once

// The questions that film headers answer. The probes are public: trellis/film.h.

namespace trellis::dpx {

int size_dpx(const char* name, unsigned int* width, unsigned int* height);
int size_smpte(const char* name, unsigned int* width, unsigned int* height);

int info_dpx(const char* name, unsigned int* compression, unsigned int* flag_a,
             unsigned int* flag_b, unsigned int* image_offset, unsigned int* kind,
             unsigned int* channels, unsigned int* deep, unsigned int* zero_1, unsigned int* zero_2,
             unsigned int* width, unsigned int* height, unsigned int* zero_3);
int info_smpte(const char* name, unsigned int* compression, unsigned int* flag_a,
               unsigned int* flag_b, unsigned int* image_offset, unsigned int* kind,
               unsigned int* channels, unsigned int* deep, unsigned int* zero_1,
               unsigned int* zero_2, unsigned int* width, unsigned int* height,
               unsigned int* zero_3);

}  // namespace trellis::dpx
