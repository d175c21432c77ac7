#include "system/run_concurrently.h"

#include <chrono>
#include <future>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

/// A thread that gets a core later than this after its start has waited for other threads.
constexpr std::chrono::milliseconds prompt_start(1);

/// So many times as long as it has waited, a task then works before it starts another: where all
/// cores are busy, one more thread gains little, and takes memory and the place in their caches.
constexpr int work_per_wait = 4;

class Concurrent_Tasks {
public:
    Concurrent_Tasks(std::size_t n, const Task& task_, const std::function<void()>& stop_)
        : task(task_), stop(stop_), ends(n) {}

    std::size_t run() {
        start(0);
        std::size_t nStarted = 0;
        // Each task has started the next one, if at all, before it ends.
        for (; nStarted < ends.size() && ends[nStarted].valid(); ++nStarted) {
            ends[nStarted].wait();
        }
        for (std::size_t i = 0; i < nStarted; ++i) {
            ends[i].get();
        }
        return nStarted;
    }

private:
    void start(std::size_t i) {
        ends[i] = std::async(std::launch::async, [this, i, begin = Clock::now()] {
            try {
                run_task(i, Clock::now() - begin);
            } catch (...) {
                stop();
                throw;
            }
        });
    }

    void run_task(std::size_t i, Clock::duration waited) {
        bool isLast = i + 1 == ends.size();
        const Clock::time_point begin = Clock::now();
        task(i, [&] {
            const bool hasCore =
                waited < prompt_start || Clock::now() - begin > work_per_wait * waited;
            if (hasCore && !isLast) {
                isLast = true;
                start(i + 1);
            }
        });
    }

    const Task& task;
    const std::function<void()>& stop;
    std::vector<std::future<void>> ends;
};

}  // namespace

std::size_t run_concurrently(std::size_t n, const Task& task, const std::function<void()>& stop) {
    if (n == 1) {
        task(0, [] {});
        return 1;
    }
    return Concurrent_Tasks(n, task, stop).run();
}
