#include "survey_files.h"

#include "Survey_Collection.h"
#include "Survey_Task.h"
#include "reading/Counting_Task.h"
#include "reading/count_files.h"
#include "system/run_concurrently.h"

#include <atomic>
#include <exception>
#include <functional>
#include <span>

namespace {

/// Why files could not be read, by file.
using Failures = std::vector<std::exception_ptr>;

/// Looks at all files that have not failed before. Returns whether that is done: not if another one
/// fails after some of its events have been counted.
bool try_survey(const std::vector<std::string>& paths, Failures& failures, Survey& survey,
                Progress_Count& nRead) {
    Survey_Collection collection(survey.files);
    const auto look_at = [&](const Input& input) {
        if (failures[input.index] != nullptr) {
            std::rethrow_exception(failures[input.index]);
        }
        collection.look_at(input);
    };
    const std::size_t nTasks = default_task_count();
    // As frames are numbered, files are looked at before those after them are handed out.
    constexpr std::size_t firstFrame = 0;
    Work_Queue queue({paths}, look_at, On_Failure::leave, {nTasks, events_per_piece}, firstFrame);
    std::vector<Survey_Task> tasks;
    for (std::size_t i = 0; i < nTasks; ++i) {
        tasks.emplace_back(survey.bounds);
    }
    std::atomic<bool> failedLate = false;
    const auto work = [&](std::size_t i, const std::function<void()>& found_work) {
        while (const auto range = queue.take()) {
            found_work();
            try {
                collection.add(*range,
                               tasks[i].survey(*range, collection.since_shift(*range->input)));
                nRead.add(range->end - range->first);
            } catch (const std::exception&) {
                queue.fail(range->input->index, std::current_exception());
                failedLate = true;
            }
        }
    };
    const std::size_t nUsed = run_concurrently(nTasks, work, [&] { queue.stop(); });
    const std::vector<File_Account> files = queue.take_files();
    for (std::size_t i = 0; i < files.size(); ++i) {
        failures[i] = files[i].failure;
        survey.files[i].bytes = files[i].bytes;
    }
    if (failedLate) {
        return false;
    }
    collection.sum_up(survey);
    for (Survey_Task& task : std::span(tasks).first(nUsed)) {
        task.sum_up(survey);
    }
    return true;
}

}  // namespace

Survey survey_files(const std::vector<std::string>& paths, const Bounds& bounds,
                    Progress_Count& nRead) {
    Survey survey;
    survey.bounds = bounds;
    Failures failures(paths.size());
    do {
        nRead.start_again();
        survey.files.clear();
        for (const std::string& path : paths) {
            survey.files.push_back({path, {}, 0, {}});
        }
    } while (!try_survey(paths, failures, survey, nRead));
    for (std::size_t i = 0; i < paths.size(); ++i) {
        if (failures[i] != nullptr) {
            survey.files[i].fault = message_of(failures[i]);
        }
    }
    return survey;
}
