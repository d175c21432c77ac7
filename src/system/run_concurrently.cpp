#include "system/run_concurrently.h"

#include <atomic>
#include <ctime>
#include <future>
#include <mutex>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

/// A thread that gets a core later than this after its start has waited for other threads.
constexpr std::chrono::microseconds prompt_start(500);

/// How long this thread has had a core.
std::chrono::nanoseconds time_worked() noexcept {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

class Concurrent_Tasks {
public:
    Concurrent_Tasks(std::size_t n, const Task& task_, const std::function<void()>& stop_,
                     std::chrono::nanoseconds work_per_start_)
        : task(task_), stop(stop_), work_per_start(work_per_start_), ends(n) {}

    std::size_t run() {
        start_next();
        // Each is started by one before it: when all of these have ended, no other will be.
        for (std::size_t i = 0; i < nStarted; ++i) {
            ends[i].wait();
        }
        for (std::size_t i = 0; i < nStarted; ++i) {
            ends[i].get();
        }
        return nStarted;
    }

private:
    /// Starts the next task, unless all have been started.
    void start_next() {
        const std::lock_guard lock(mutex);
        if (nStarted == ends.size()) {
            return;
        }
        const std::size_t i = nStarted;
        ends[i] = std::async(std::launch::async, [this, i, begin = Clock::now()] {
            try {
                run_task(i, Clock::now() - begin);
            } catch (...) {
                stop();
                throw;
            }
        });
        ++nStarted;
    }

    void run_task(std::size_t i, Clock::duration waited) {
        auto next_start = waited < prompt_start ? std::chrono::nanoseconds(0) : work_per_start;
        task(i, [&] {
            if (nStarted < ends.size() && time_worked() >= next_start) {
                next_start = time_worked() + work_per_start;
                start_next();
            }
        });
    }

    const Task& task;
    const std::function<void()>& stop;
    const std::chrono::nanoseconds work_per_start;
    std::mutex mutex;
    std::atomic<std::size_t> nStarted = 0;
    std::vector<std::future<void>> ends;
};

}  // namespace

std::size_t run_concurrently(std::size_t n, const Task& task, const std::function<void()>& stop,
                             std::chrono::milliseconds work_per_start) {
    if (n == 1) {
        task(0, [] {});
        return 1;
    }
    return Concurrent_Tasks(n, task, stop, work_per_start).run();
}
