#pragma once

// The process-wide words about the last film header read.

#include "frame/film_words.h"

namespace trellis {

void publish_film_words(const FilmWords& words);

}  // namespace trellis
