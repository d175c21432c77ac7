#include "reading/count_files.h"

#include "reading/Trigger_List.h"
#include "system/Available_Cores.h"
#include "system/run_concurrently.h"

#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <system_error>
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

/// A file's triggers say whether tasks may share its events.
void look_at_triggers(Input& input) {
    if (!input.file.index().extTriggers) {
        throw std::invalid_argument(
            "External trigger data requested from data set recorded without external trigger "
            "enabled!");
    }
    input.shared = triggers_ascend(input.file);
}

/// How long tasks work before they start others where cores are busy: beside the least, twenty
/// times as long as it takes to clear the counters of a task and to add them up, which is about a
/// millisecond for each MiB.
std::chrono::milliseconds between_starts(std::size_t bytes_of_counters) {
    constexpr std::chrono::milliseconds per_MiB(20);
    return least_between_starts + static_cast<int>(bytes_of_counters >> 20U) * per_MiB;
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
    try {
        run_concurrently(nUsed, merge_parts, [] {});
    } catch (const std::system_error&) {
        merge_parts(0, [] {});  // no thread could be started: what has been counted is not lost
    }
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

Work_Queue queue_for(const Counting_Job& job, std::span<const std::string> files,
                     On_Failure onFailure, const Sharing& sharing) {
    const Look_At look_at =
        job.mode == Parameters::ignore ? [](Input& /*input*/) {} : look_at_triggers;
    const bool numbersFrames = job.mode == Parameters::frameSync;
    return {files, look_at, onFailure, sharing,
            numbersFrames ? std::optional(job.firstFrame) : std::nullopt};
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
    Work_Queue queue = queue_for(job, files, onFailure, sharing);
    const std::size_t nUsed = run_concurrently(
        nTasks, [&](std::size_t i, const auto& found_work) { tasks[i].run(queue, found_work); },
        [&] { queue.stop(); }, between_starts(counters.bytes_per_task()));
    if (ends_run(onFailure)) {
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
