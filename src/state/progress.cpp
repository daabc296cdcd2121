// The progress callback that a host may install and drive itself.

#include <algorithm>
#include <atomic>

#include "trellis/settings.h"

namespace {

std::atomic<trellis_progress_fn> progress_callback = nullptr;

}  // namespace

void set_progress_fn_trellis_(trellis_progress_fn callback) {
    progress_callback = callback;
}

void update_progress_trellis_(float fraction) {
    const trellis_progress_fn callback = progress_callback;
    if (callback != nullptr) {
        float clamped = std::clamp(fraction, 0.0F, 1.0F);
        callback(&clamped);
    }
}

void occasional_update_gauge_() {}
