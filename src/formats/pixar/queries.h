#pragma once

// The questions that a Pixar header answers: is this a Pixar file, how large is it, what is in it.

#include <cstdint>

#include "trellis/pic_format.h"

namespace trellis::pixar {

int inq_pixar_type_fn(void* header, int length, const char* name, std::int64_t reserved,
                      unsigned int* kind, unsigned int* is_this_format);

int size_pixar(const char* name, unsigned int* width, unsigned int* height);

int info_pixar(const char* name, unsigned int* compression, unsigned int* flag_a,
               unsigned int* flag_b, unsigned int* image_offset, unsigned int* kind,
               unsigned int* channels, unsigned int* deep, unsigned int* zero_1,
               unsigned int* zero_2, unsigned int* width, unsigned int* height,
               unsigned int* zero_3);

}  // namespace trellis::pixar
