#include "state/film_words.h"

#include <atomic>

#include "trellis/film.h"

// Hosts read the exported words as the plain variables that they are; the library stores them so
// that its own threads do not race.
int g_bSwap = 1;
int g_iBitDepth = 10;
int DPX_COMPONENTS = 0;
int available_user_lut = 0;

namespace {

int last_transfer = trellis::cineon_transfer;

void store(int& word, std::optional<int> value) {
    if (value.has_value()) {
        std::atomic_ref(word).store(*value, std::memory_order_relaxed);
    }
}

int load(int& word) {
    return std::atomic_ref(word).load(std::memory_order_relaxed);
}

}  // namespace

void trellis::publish_film_words(const FilmWords& words) {
    store(g_bSwap, words.swap);
    store(g_iBitDepth, words.bit_depth);
    store(last_transfer, words.transfer);
}

int get_info(int* transfer, int* bit_depth) {
    *transfer = load(last_transfer);
    *bit_depth = load(g_iBitDepth);
    return 0;
}
