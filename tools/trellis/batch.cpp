#include "batch.h"

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <system_error>

#include "output.h"
#include "progress_bar.h"

namespace tool {

namespace {

using Clock = std::chrono::steady_clock;

/// Says on standard error how far a batch is.
class BatchProgress {
  public:
    explicit BatchProgress(std::size_t count)
        : count_(count), terminal_(isatty(STDERR_FILENO) != 0) {
        next_ = began_ + interval();
    }

    /// Called with the number of files that are behind us, in one thread at a time.
    void show(std::size_t behind) {
        const Clock::time_point now = Clock::now();
        if (count_ < 2 || now < next_ || behind == count_) {
            return;
        }
        next_ = now + interval();
        const double seconds = std::chrono::duration<double>(now - began_).count();
        const double rate = static_cast<double>(behind) / seconds;
        const double left = static_cast<double>(count_ - behind) / rate;
        std::fprintf(stderr, "%s%zu of %zu frames, %.1f a second, %s left%s",
                     terminal_ ? "\r" : "trellis: ", behind, count_, rate, duration(left).c_str(),
                     terminal_ ? "\033[K" : "\n");
        shown_ = terminal_;
    }

    /// Makes room for another line.
    void clear() {
        if (shown_) {
            std::fputs("\r\033[K", stderr);
            shown_ = false;
        }
    }

  private:
    Clock::duration interval() const {
        return terminal_ ? std::chrono::milliseconds(200) : std::chrono::milliseconds(10'000);
    }

    static std::string duration(double seconds) {
        const auto whole = static_cast<long>(seconds + 0.5);
        char text[32];
        std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", whole / 3600, whole / 60 % 60,
                      whole % 60);
        return text;
    }

    const std::size_t count_;
    const bool terminal_;
    const Clock::time_point began_ = Clock::now();
    Clock::time_point next_;
    bool shown_ = false;
};

/// No other file will fare better.
bool is_full_disk(const host::Error& error) {
    for (const int number : {ENOSPC, EDQUOT}) {
        if (error.reason() == std::generic_category().message(number)) {
            return true;
        }
    }
    return false;
}

class Batch {
  public:
    Batch(std::size_t count, const BatchOptions& options)
        : count_(count), options_(options), progress_(count) {}

    host::AfterJob run(const std::function<Outcome(std::size_t)>& work, std::size_t i) {
        try {
            const Outcome outcome = work(i);
            const std::lock_guard lock(mutex_);
            ++(outcome == Outcome::done ? done_ : skipped_);
            progress_.show(done_ + skipped_ + failed_);
            return host::AfterJob::go_on;
        } catch (const host::Error& error) {
            return after_failure(error);
        }
    }

    bool finish() {
        progress_.clear();
        if (!options_.verb.empty() && count_ > 1) {
            report(summary());
        }
        if (!why_stopped_.empty()) {
            throw Stopped(why_stopped_);
        }
        return failed_ == 0;
    }

  private:
    host::AfterJob after_failure(const host::Error& error) {
        const std::lock_guard lock(mutex_);
        ++failed_;
        if (!why_stopped_.empty()) {
            return host::AfterJob::stop;  // the others fail for the reason that is known already
        }
        progress_.clear();
        report(error);
        if (is_full_disk(error) && count_ > 1) {
            why_stopped_ = "stopped: there is no room for more";
        } else if (options_.fail_fast) {
            why_stopped_ = "stopped after the first failure";
        }
        return why_stopped_.empty() ? host::AfterJob::go_on : host::AfterJob::stop;
    }

    std::string summary() const {
        std::string text =
            std::to_string(done_) + " of " + std::to_string(count_) + " frames " + options_.verb;
        if (skipped_ > 0) {
            text += ", " + std::to_string(skipped_) + " were done before";
        }
        if (failed_ > 0) {
            text += ", " + std::to_string(failed_) + " failed";
        }
        return text;
    }

    const std::size_t count_;
    const BatchOptions& options_;
    std::mutex mutex_;
    BatchProgress progress_;
    std::size_t done_ = 0;
    std::size_t skipped_ = 0;
    std::size_t failed_ = 0;
    std::string why_stopped_;
};

}  // namespace

bool run_batch(std::size_t count, const BatchOptions& options,
               const std::function<Outcome(std::size_t)>& work) {
    const int jobs = options.jobs > 0 ? options.jobs : host::usable_processors();
    const ProgressBar::Mute one_line_is_enough(count > 1);
    Batch batch(count, options);
    host::run_jobs(count, jobs, [&](std::size_t i) { return batch.run(work, i); });
    return batch.finish();
}

}  // namespace tool
