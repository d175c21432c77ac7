#include "reading/count_files.h"

#include <sys/resource.h>

#include <algorithm>
#include <future>
#include <span>
#include <thread>
#include <vector>

namespace {

/// What goes wrong outside of a file would lose events without a word: it ends the work of all
/// tasks, and is thrown when the last one has ended.
void run_concurrently(std::span<Counting_Task> tasks, Work_Queue& queue) {
    const auto or_stop = [&queue](const auto& work) {
        try {
            work();
        } catch (...) {
            queue.stop();
            throw;
        }
    };
    std::vector<std::future<void>> futures;
    futures.reserve(tasks.size());
    or_stop([&] {
        for (Counting_Task& task : tasks) {
            futures.push_back(
                std::async(std::launch::async, [&] { or_stop([&] { task.run(queue); }); }));
        }
    });
    for (std::future<void>& future : futures) {
        future.wait();
    }
    for (std::future<void>& future : futures) {
        future.get();
    }
}

}  // namespace

std::size_t default_task_count() noexcept {
    // A task may need two descriptors: for the file that it reads, and for one that it opens.
    constexpr rlim_t others = 8;
    rlimit descriptors{};
    getrlimit(RLIMIT_NOFILE, &descriptors);
    const rlim_t most = descriptors.rlim_cur < others ? 0 : (descriptors.rlim_cur - others) / 2;
    return std::clamp<rlim_t>(std::thread::hardware_concurrency(), 1, std::max<rlim_t>(most, 1));
}

Run_Account count_files(const Counting_Job& job, std::span<const std::string> files,
                        std::size_t nTasks, On_Failure onFailure, std::size_t piece_length) {
    const Image_Use use = nTasks == 1 ? Image_Use::alone : Image_Use::shared;
    std::vector<Counting_Task> tasks;
    tasks.reserve(nTasks);
    for (std::size_t i = 0; i < nTasks; ++i) {
        tasks.emplace_back(job, use, piece_length);
    }
    Work_Queue queue(files, job.mode, onFailure, job.firstFrame);
    if (nTasks == 1) {
        tasks.front().run(queue);
    } else {
        run_concurrently(tasks, queue);
    }
    if (onFailure == On_Failure::end_run) {
        queue.rethrow_failure();
    }
    Run_Account account;
    for (Counting_Task& task : tasks) {
        task.merge();
        account.nIntervals += task.get_nIntervals();
        account.events += task.get_account();
    }
    account.files = queue.take_files();
    return account;
}
