#include "reading/count_files.h"

#include "system/Available_Cores.h"

#include <sys/resource.h>

#include <algorithm>
#include <functional>
#include <future>
#include <vector>

namespace {

/// Runs `work(i)` for i from 0 to `n` - 1, each on a thread of its own if there are several. When
/// one throws, `stop()` is called, and the exception is thrown when all have ended.
void run_concurrently(std::size_t n, const std::function<void(std::size_t)>& work,
                      const std::function<void()>& stop) {
    if (n == 1) {
        work(0);
        return;
    }
    const auto or_stop = [&stop](const auto& action) {
        try {
            action();
        } catch (...) {
            stop();
            throw;
        }
    };
    std::vector<std::future<void>> futures;
    futures.reserve(n);
    or_stop([&] {
        for (std::size_t i = 0; i < n; ++i) {
            futures.push_back(
                std::async(std::launch::async, [&, i] { or_stop([&] { work(i); }); }));
        }
    });
    for (std::future<void>& future : futures) {
        future.wait();
    }
    for (std::future<void>& future : futures) {
        future.get();
    }
}

std::size_t count_intervals(const std::vector<File_Account>& files) {
    std::size_t nIntervals = 0;
    for (const File_Account& file : files) {
        const bool counts = file.failure == nullptr && file.nTriggers.value_or(0) > 0;
        nIntervals += counts ? *file.nTriggers - 1 : 0;
    }
    return nIntervals;
}

}  // namespace

std::size_t default_task_count() {
    // A task may need two descriptors: for the file that it reads, and for one that it opens.
    constexpr rlim_t others = 8;
    rlimit descriptors{};
    getrlimit(RLIMIT_NOFILE, &descriptors);
    const rlim_t most = descriptors.rlim_cur < others ? 0 : (descriptors.rlim_cur - others) / 2;
    return std::clamp<rlim_t>(available_cores(), 1, std::max<rlim_t>(most, 1));
}

Run_Account count_files(const Counting_Job& job, std::span<const std::string> files,
                        On_Failure onFailure, const Sharing& sharing) {
    const std::size_t nTasks = sharing.nTasks;
    Private_Counters counters(job.cells, nTasks);
    std::vector<Counting_Task> tasks;
    tasks.reserve(nTasks);
    for (std::size_t i = 0; i < nTasks; ++i) {
        tasks.emplace_back(job, counters.counter_of(i), sharing.piece_length);
    }
    Work_Queue queue(files, job.mode, onFailure, sharing, job.firstFrame);
    run_concurrently(
        nTasks, [&](std::size_t i) { tasks[i].run(queue); }, [&] { queue.stop(); });
    if (onFailure == On_Failure::end_run) {
        queue.rethrow_failure();
    }
    run_concurrently(
        nTasks, [&](std::size_t i) { counters.merge_part(i); }, [] {});
    Run_Account account;
    for (const Counting_Task& task : tasks) {
        account.events += task.get_account();
    }
    account.files = queue.take_files();
    account.nIntervals = job.mode == Parameters::ignore ? 0 : count_intervals(account.files);
    return account;
}
