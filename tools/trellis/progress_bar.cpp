#include "progress_bar.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <filesystem>

#include "trellis/settings.h"

#include "output.h"

namespace tool {

namespace {

thread_local ProgressBar* active = nullptr;
std::atomic<int> mutes = 0;

}  // namespace

ProgressBar::ProgressBar(const std::string& verb, const std::string& path)
    : label_(printable(verb + " " + std::filesystem::path(path).filename().string())) {
    if (mutes == 0 && isatty(STDERR_FILENO) != 0) {
        active = this;
    }
}

ProgressBar::~ProgressBar() {
    active = nullptr;
    if (shown_) {
        std::fputs("\r\033[K", stderr);
    }
}

ProgressBar::Mute::Mute(bool mute) : mute_(mute) {
    mutes += mute_ ? 1 : 0;
}

ProgressBar::Mute::~Mute() {
    mutes -= mute_ ? 1 : 0;
}

void ProgressBar::show(float fraction) {
    if (Clock::now() < next_) {
        return;
    }
    next_ = Clock::now() + std::chrono::milliseconds(100);
    shown_ = true;

    // What is not a number between 0 and 1 is a beginning.
    constexpr int cells = 32;
    const float done = fraction >= 0 && fraction <= 1 ? fraction : 0;
    const int filled = static_cast<int>(done * cells);
    const std::string bar =
        std::string(std::size_t(filled), '#') + std::string(std::size_t(cells - filled), '.');
    std::fprintf(stderr, "\r[%s] %3d%%  %.36s\033[K", bar.c_str(), static_cast<int>(done * 100),
                 label_.c_str());
}

}  // namespace tool

/// The library's progress hook, in the tool's own form.
TRELLIS_API void occaisional_update_progress_trellis_(float fraction) {
    if (tool::active != nullptr) {
        tool::active->show(fraction);
    }
}
