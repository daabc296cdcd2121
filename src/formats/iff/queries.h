#pragma once

// The questions that the header of a Maya IFF file answers: is this one, how large is it, what is
// in it.

#include <cstdint>

namespace trellis::iff {

int inq_maya_type_fn(void* bytes, int length, const char* name, std::int64_t reserved,
                     unsigned int* kind, unsigned int* is_this_format);

int size_maya(const char* name, unsigned int* width, unsigned int* height);

int info_maya(const char* name, unsigned int* compression, unsigned int* flag_a,
              unsigned int* flag_b, unsigned int* image_offset, unsigned int* kind,
              unsigned int* channels, unsigned int* deep, unsigned int* zero_1,
              unsigned int* zero_2, unsigned int* width, unsigned int* height,
              unsigned int* zero_3);

}  // namespace trellis::iff
