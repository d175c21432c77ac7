#include "system/run_concurrently.h"

#include "system/Mutex.h"

#include <atomic>
#include <future>
#include <system_error>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

/// A thread that begins later than this after it was asked for shares a core with others.
constexpr std::chrono::microseconds short_wait(500);

class Concurrent_Tasks {
public:
    Concurrent_Tasks(std::size_t n, const Task& task_, const std::function<void()>& stop_,
                     std::chrono::milliseconds between_starts_)
        : task(task_), stop(stop_), between_starts(between_starts_), most(n) {
        ends.reserve(n);
    }

    std::size_t run() {
        start_next();
        // Each is started by one before it: when all of these have ended, no other will be.
        for (std::size_t i = 0; i < nStarted; ++i) {
            end_of(i).wait();
        }
        for (std::size_t i = 0; i < nStarted; ++i) {
            end_of(i).get();
        }
        return nStarted;
    }

private:
    /// Starts the next task, unless all have been started.
    void start_next() {
        const Lock lock(mutex);
        if (nStarted == most) {
            return;
        }
        try {
            const auto run = [this, i = ends.size(), asked = Clock::now()] { run_task(i, asked); };
            ends.push_back(std::async(std::launch::async, run));
            ++nStarted;
        } catch (const std::system_error&) {
            if (nStarted == 0) {
                throw;
            }
            most = nStarted.load();
        }
    }

    void run_task(std::size_t i, Clock::time_point asked) {
        const Clock::time_point began = Clock::now();
        const bool foundCore = began - asked < short_wait;
        Clock::time_point next_start = i == 0 || foundCore ? began : began + between_starts;
        const auto found_work = [&] {
            if (nStarted < most && Clock::now() >= next_start) {
                next_start = Clock::now() + between_starts;
                start_next();
            }
        };
        try {
            task(i, found_work);
        } catch (...) {
            stop();
            throw;
        }
    }

    std::future<void>& end_of(std::size_t i) {
        const Lock lock(mutex);
        return ends[i];
    }

    const Task& task;
    const std::function<void()>& stop;
    const std::chrono::milliseconds between_starts;
    std::atomic<std::size_t> most;
    std::atomic<std::size_t> nStarted = 0;
    Mutex mutex;
    std::vector<std::future<void>> ends GUARDED_BY(mutex);  ///< as many as have been started
};

}  // namespace

std::size_t run_concurrently(std::size_t n, const Task& task, const std::function<void()>& stop,
                             std::chrono::milliseconds between_starts) {
    if (n == 1) {
        task(0, [] {});
        return 1;
    }
    return Concurrent_Tasks(n, task, stop, between_starts).run();
}
