#include "count_image.h"

#include "binning/from_settings.h"
#include "reading/count_files.h"

#include <limits>
#include <new>
#include <span>

namespace {

/// The cells of an image whose sizes make a placement.
Counters new_cells(const Page_Sizes& sizes) {
    constexpr std::uint64_t most = std::numeric_limits<std::ptrdiff_t>::max() / sizeof(Counter);
    const std::uint64_t nCells = sizes.nPages * sizes.size_y * sizes.size_x;
    if (nCells > most) {
        throw std::bad_array_new_length();
    }
    return Counters(nCells);
}

std::vector<Faulty_File> failures_of(std::span<const std::string> paths,
                                     std::span<const File_Account> files) {
    std::vector<Faulty_File> failures;
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (files[i].failure != nullptr) {
            failures.push_back({paths[i], message_of(files[i].failure)});
        }
    }
    return failures;
}

}  // namespace

Counted_Image count_image(const Open_Recording& recording, const Image_Settings& settings,
                          bool strict, Progress_Count& nRead) {
    const bool frames = settings.extTrigger_mode == Image_Settings::frameSync;
    Counting_Job job{settings.extTrigger_mode, placement_of(settings), event_filter(settings), {}};
    Counted_Image image{new_cells(page_sizes(settings)), {}, {}};
    job.cells = image.cells;
    job.keepAccount = true;
    job.nRead = &nRead;
    const Sharing sharing{default_task_count(), events_per_piece};
    const On_Failure onFailure = strict || frames ? On_Failure::end_run : On_Failure::leave;
    Work_Queue queue(recording.inputs(), recording.look_at(job.mode), onFailure, sharing,
                     frames ? std::optional(job.firstFrame) : std::nullopt);
    try {
        const Run_Account account = count_events(job, queue, sharing);
        image.events = account.events;
        image.failures = failures_of(recording.get_paths(), account.files);
    } catch (const std::exception&) {
        image.failures = failures_of(recording.get_paths(), queue.take_files());
        if (onFailure == On_Failure::leave || image.failures.empty()) {
            throw;  // it is no file that failed
        }
    }
    return image;
}
