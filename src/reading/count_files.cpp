#include "reading/count_files.h"

#include "system/Available_Cores.h"
#include "system/run_concurrently.h"

#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <vector>

namespace {

std::size_t count_intervals(const std::vector<File_Account>& files) {
    std::size_t nIntervals = 0;
    for (const File_Account& file : files) {
        const bool counts = file.failure == nullptr && file.nTriggers.value_or(0) > 0;
        nIntervals += counts ? *file.nTriggers - 1 : 0;
    }
    return nIntervals;
}

/// What starting one more task must be worth: beside the least, twenty times as long as it takes to
/// clear its counters and to add them up, which is about a millisecond for each MiB.
std::chrono::milliseconds work_per_start(std::size_t bytes_of_counters) {
    constexpr std::chrono::milliseconds work_per_MiB(20);
    return least_work_per_start + (bytes_of_counters >> 20U) * work_per_MiB;
}

/// Adds the counters of the tasks that have been used to the image.
void merge(Private_Counters& counters, std::size_t nUsed) {
    std::atomic<std::size_t> nTaken = 0;
    const auto merge_parts = [&](std::size_t /*task*/, const auto& found_work) {
        for (std::size_t part = nTaken++; part < nUsed; part = nTaken++) {
            found_work();
            counters.merge_part(part, nUsed);
        }
    };
    run_concurrently(nUsed, merge_parts, [] {});
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
    Private_Counters counters(job.cells, nTasks, frame_size(job.placement));
    std::vector<Counting_Task> tasks;
    tasks.reserve(nTasks);
    for (std::size_t i = 0; i < nTasks; ++i) {
        tasks.emplace_back(job, counters.counter_of(i), sharing.piece_length);
    }
    Work_Queue queue(files, job.mode, onFailure, sharing, job.firstFrame);
    const std::size_t nUsed = run_concurrently(
        nTasks, [&](std::size_t i, const auto& found_work) { tasks[i].run(queue, found_work); },
        [&] { queue.stop(); }, work_per_start(counters.bytes_per_task()));
    if (onFailure == On_Failure::end_run) {
        queue.rethrow_failure();
    }
    if (!counters.empty()) {
        merge(counters, nUsed);
    }
    Run_Account account;
    for (const Counting_Task& task : tasks) {
        account.events += task.get_account();
    }
    account.files = queue.take_files();
    account.nIntervals = job.mode == Parameters::ignore ? 0 : count_intervals(account.files);
    return account;
}
