#include <sched.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "trellis/sequence.hpp"

namespace trellis::host {

namespace {

int processors_of_affinity() {
    cpu_set_t set;
    CPU_ZERO(&set);
    if (sched_getaffinity(0, sizeof set, &set) == 0) {
        return CPU_COUNT(&set);
    }
    return static_cast<int>(std::thread::hardware_concurrency());  // too many for a cpu_set_t
}

// A container's share of processor time, in processors begun; 0 when it has no limit. The file has
// the time that it may use in each period, in microseconds: "150000 100000", or "max 100000".
int processors_of_container() {
    std::ifstream file("/sys/fs/cgroup/cpu.max");
    double quota = 0;
    double period = 0;
    if (!(file >> quota >> period) || period <= 0) {
        return 0;
    }
    return static_cast<int>(std::max(1.0, quota / period + 0.999));
}

/// One row of jobs, shared by the threads that do them.
class Row {
  public:
    Row(std::size_t count, const std::function<AfterJob(std::size_t)>& job)
        : count_(count), job_(job) {}

    void work() {
        for (std::size_t i = next_++; i < count_ && !stopped_; i = next_++) {
            try {
                if (job_(i) == AfterJob::stop) {
                    stopped_ = true;
                }
            } catch (...) {
                const std::lock_guard lock(mutex_);
                thrown_ = thrown_ == nullptr ? std::current_exception() : thrown_;
                stopped_ = true;
            }
        }
    }

    void rethrow() const {
        if (thrown_ != nullptr) {
            std::rethrow_exception(thrown_);
        }
    }

  private:
    const std::size_t count_;
    const std::function<AfterJob(std::size_t)>& job_;
    std::atomic<std::size_t> next_ = 0;
    std::atomic<bool> stopped_ = false;
    std::mutex mutex_;
    std::exception_ptr thrown_;
};

}  // namespace

int usable_processors() {
    const int affinity = std::max(1, processors_of_affinity());
    const int container = processors_of_container();
    return container == 0 ? affinity : std::min(affinity, container);
}

void run_jobs(std::size_t count, int threads, const std::function<AfterJob(std::size_t)>& job) {
    Row row(count, job);
    const auto helpers = std::min(count, static_cast<std::size_t>(std::max(threads, 1)));
    {
        std::vector<std::jthread> pool;
        pool.reserve(helpers);
        for (std::size_t i = 1; i < helpers; ++i) {
            try {
                pool.emplace_back([&row] { row.work(); });
            } catch (const std::system_error&) {
                break;  // fewer threads than asked for do the same work
            }
        }
        row.work();
    }
    row.rethrow();
}

}  // namespace trellis::host
