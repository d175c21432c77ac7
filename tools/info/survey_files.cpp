#include "survey_files.h"

#include "Survey_Queue.h"
#include "Survey_Task.h"
#include "reading/count_files.h"
#include "system/run_concurrently.h"

#include <exception>
#include <functional>
#include <span>

namespace {

void work(Survey_Task& task, Survey_Queue& queue, Progress_Count& nRead,
          const std::function<void()>& found_work) {
    while (const auto range = queue.take()) {
        found_work();
        try {
            queue.add(*range, task.survey(*range));
            nRead.add(range->end - range->first);
        } catch (const std::exception& failure) {
            queue.fail(*range, failure);
        }
    }
}

/// Looks at all files that have no fault. Returns whether that is done: not if another file turns
/// out to have one when some of its events have been counted.
bool try_survey(Survey& survey, Progress_Count& nRead) {
    const std::size_t nTasks = default_task_count();
    Survey_Queue queue(survey.files);
    std::vector<Survey_Task> tasks(nTasks);
    const std::size_t nUsed = run_concurrently(
        nTasks,
        [&](std::size_t i, const auto& found_work) { work(tasks[i], queue, nRead, found_work); },
        [&] { queue.stop(); });
    if (queue.failed_late()) {
        return false;
    }
    queue.sum_up(survey);
    for (Survey_Task& task : std::span(tasks).first(nUsed)) {
        task.sum_up(survey);
    }
    return true;
}

std::vector<File_Survey> without_findings(const std::vector<File_Survey>& files) {
    std::vector<File_Survey> cleared;
    cleared.reserve(files.size());
    for (const File_Survey& file : files) {
        cleared.push_back({file.path, file.fault, 0, {}});
    }
    return cleared;
}

}  // namespace

Survey survey_files(const std::vector<std::string>& paths, Progress_Count& nRead) {
    Survey survey;
    survey.files.reserve(paths.size());
    for (const std::string& path : paths) {
        survey.files.push_back({path, {}, 0, {}});
    }
    while (!try_survey(survey, nRead)) {
        nRead.start_again();
        survey.files = without_findings(survey.files);
    }
    return survey;
}
