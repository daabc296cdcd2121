#pragma once

// The questions that film headers answer, and what the headers say to the process-wide words. The
// probes, which leave those alone, are public: trellis/film.h.

#include "frame/film_words.h"

namespace trellis::dpx {

int size_dpx(const char* name, unsigned int* width, unsigned int* height, FilmWords& words);
int size_smpte(const char* name, unsigned int* width, unsigned int* height, FilmWords& words);

int info_dpx(const char* name, unsigned int* compression, unsigned int* flag_a,
             unsigned int* flag_b, unsigned int* image_offset, unsigned int* kind,
             unsigned int* channels, unsigned int* deep, unsigned int* zero_1, unsigned int* zero_2,
             unsigned int* width, unsigned int* height, unsigned int* zero_3, FilmWords& words);
int info_smpte(const char* name, unsigned int* compression, unsigned int* flag_a,
               unsigned int* flag_b, unsigned int* image_offset, unsigned int* kind,
               unsigned int* channels, unsigned int* deep, unsigned int* zero_1,
               unsigned int* zero_2, unsigned int* width, unsigned int* height,
               unsigned int* zero_3, FilmWords& words);

}  // namespace trellis::dpx
