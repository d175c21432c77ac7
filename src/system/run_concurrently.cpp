#include "system/run_concurrently.h"

#include <atomic>
#include <fstream>
#include <future>
#include <mutex>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

/// What a thread has had of the cores since it began.
struct Core_Time {
    std::chrono::nanoseconds used{};
    std::chrono::nanoseconds waited{};  ///< while others had them; not for reading or a lock
};

/// That of this thread; all zero where the system does not tell.
Core_Time core_time() {
    std::chrono::nanoseconds::rep used = 0;
    std::chrono::nanoseconds::rep waited = 0;
    std::ifstream("/proc/thread-self/schedstat") >> used >> waited;
    return {std::chrono::nanoseconds(used), std::chrono::nanoseconds(waited)};
}

/// How often a task looks whether there are free cores.
constexpr std::chrono::milliseconds between_looks(10);

/// Who waits longer than this between two looks shares a core with others.
constexpr std::chrono::microseconds short_wait(500);

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
        ends[i] = std::async(std::launch::async, [this, i] {
            try {
                run_task(i);
            } catch (...) {
                stop();
                throw;
            }
        });
        ++nStarted;
    }

    void run_task(std::size_t i) {
        Clock::time_point next_look;
        Core_Time last_look;
        std::chrono::nanoseconds used_at_start{};
        task(i, [&] {
            if (nStarted == ends.size() || Clock::now() < next_look) {
                return;
            }
            const Core_Time now = core_time();
            const bool isLast = i + 1 >= nStarted;  // it may run before it has been counted
            const bool hasCore = now.waited - last_look.waited < short_wait;
            if ((isLast && (i == 0 || hasCore)) || now.used - used_at_start >= work_per_start) {
                used_at_start = now.used;
                start_next();
            }
            last_look = now;
            next_look = Clock::now() + between_looks;
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
