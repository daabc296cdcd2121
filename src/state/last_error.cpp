// The last-error word and the error-window flag.

#include <atomic>

#include "trellis/errors.h"

namespace {

std::atomic<int> last_error = 0;
std::atomic<int> error_window = 0;

}  // namespace

void clear_last_error_trellis() {
    last_error = 0;
}

void set_last_error_trellis(int code) {
    last_error = code;
}

int inq_last_error_trellis() {
    return last_error;
}

int set_error_win_trellis_(int on) {
    const int stored = on > 0 ? 1 : 0;
    error_window = stored;
    return stored;
}

int inq_error_win_trellis_() {
    return error_window;
}
