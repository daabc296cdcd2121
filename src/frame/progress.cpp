// The progress callback that a host may install and drive itself.

#include <algorithm>

#include "trellis/settings.h"

namespace {

trellis_progress_fn progress_callback = nullptr;

}  // namespace

void set_progress_fn_trellis_(trellis_progress_fn callback) {
    progress_callback = callback;
}

void update_progress_trellis_(float fraction) {
    if (progress_callback == nullptr) {
        return;
    }
    float clamped = std::clamp(fraction, 0.0F, 1.0F);
    progress_callback(&clamped);
}

void occasional_update_gauge_() {}
