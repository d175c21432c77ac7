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

std::size_t count_files_concurrently(const Counting_Job& job, const std::vector<std::string>& files,
                                     std::size_t nTasks, std::size_t piece_length) {
    const Image_Use use = nTasks == 1 ? Image_Use::alone : Image_Use::shared;
    std::vector<Counting_Task> tasks;
    tasks.reserve(nTasks);
    for (std::size_t i = 0; i < nTasks; ++i) {
        tasks.emplace_back(job, use, piece_length);
    }
    Work_Queue queue(files, job.mode, On_Failure::log, job.firstFrame);
    run_concurrently(tasks, queue);
    std::size_t nIntervals = 0;
    for (Counting_Task& task : tasks) {
        task.merge();
        nIntervals += task.get_nIntervals();
    }
    return nIntervals;
}

std::size_t count_files_in_order(const Counting_Job& job, const std::vector<std::string>& files) {
    Work_Queue queue(files, job.mode, On_Failure::end_run, job.firstFrame);
    Counting_Task task(job, Image_Use::alone);
    task.run(queue);
    queue.rethrow_failure();
    return task.get_nIntervals();
}
