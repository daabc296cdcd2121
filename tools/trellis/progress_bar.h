#pragma once

// The progress bar, which the library and the tool's own PNG code feed through one hook.

#include <chrono>
#include <string>

namespace tool {

/// Shows how far an operation is, on a terminal at standard error, when it takes longer than half a
/// second, and is gone afterwards. One at a time in each thread.
class ProgressBar {
  public:
    ProgressBar(const std::string& verb, const std::string& path);
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    ~ProgressBar();

    void show(float fraction);

    /// While there is one that mutes, no bar is shown: many pictures have a line of their own.
    class Mute {
      public:
        explicit Mute(bool mute);
        Mute(const Mute&) = delete;
        Mute& operator=(const Mute&) = delete;
        ~Mute();

      private:
        const bool mute_;
    };

  private:
    using Clock = std::chrono::steady_clock;

    std::string label_;
    Clock::time_point next_ = Clock::now() + std::chrono::milliseconds(500);
    bool shown_ = false;
};

}  // namespace tool
