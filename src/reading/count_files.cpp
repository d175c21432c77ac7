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

Look_At look_at_files(Image_Settings::ExtTrigger_Mode mode) {
    if (mode == Image_Settings::ignore) {
        return [](Input& /*input*/) {};
    }
    return look_at_triggers;
}

Work_Queue queue_for(const Counting_Job& job, Input_List files, On_Failure onFailure,
                     const Sharing& sharing) {
    const bool numbersFrames = job.mode == Image_Settings::frameSync;
    return {std::move(files), look_at_files(job.mode), onFailure, sharing,
            numbersFrames ? std::optional(job.firstFrame) : std::nullopt};
}

std::size_t count_intervals(Image_Settings::ExtTrigger_Mode mode,
                            std::span<const File_Account> files) {
    std::size_t nIntervals = 0;
    for (const File_Account& file : files) {
        const bool counts = mode != Image_Settings::ignore && file.failure == nullptr;
        const std::size_t nTriggers = file.nTriggers.value_or(0);
        nIntervals += counts && nTriggers > 0 ? nTriggers - 1 : 0;
    }
    return nIntervals;
}

Run_Account count_events(const Counting_Job& job, Work_Queue& queue, const Sharing& sharing) {
    const std::size_t nTasks = sharing.nTasks;
    Private_Counters counters(job.cells, nTasks, frame_size(job.placement));
    std::vector<Counting_Task> tasks;
    tasks.reserve(nTasks);
    for (std::size_t i = 0; i < nTasks; ++i) {
        tasks.emplace_back(job, counters.counter_of(i), sharing.piece_length);
    }
    const std::size_t nUsed = run_concurrently(
        nTasks, [&](std::size_t i, const auto& found_work) { tasks[i].run(queue, found_work); },
        [&] { queue.stop(); }, between_starts(counters.bytes_per_task()));
    queue.rethrow_failure();
    if (!counters.empty()) {
        merge(counters, nUsed);
    }
    Run_Account account;
    for (const Counting_Task& task : tasks) {
        account.events += task.get_account();
    }
    account.files = queue.take_files();
    account.nIntervals = count_intervals(job.mode, account.files);
    return account;
}

Run_Account count_files(const Counting_Job& job, std::span<const std::string> files,
                        On_Failure onFailure, const Sharing& sharing) {
    Work_Queue queue = queue_for(job, {files}, onFailure, sharing);
    return count_events(job, queue, sharing);
}

Run_Account count_in_this_process(const Counting_Job& job, std::span<const std::string> files,
                                  On_Failure onFailure, bool concurrent) {
    return count_files(job, files, onFailure,
                       {concurrent ? default_task_count() : 1, events_per_piece});
}
