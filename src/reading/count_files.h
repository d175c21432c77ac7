#pragma once

#include "reading/Counting_Task.h"
#include "reading/Run_Account.h"
#include "reading/Work_Queue.h"

#include <cstddef>
#include <functional>
#include <span>
#include <string>

/// The number of tasks of a concurrent run: one for each core that the process may use, fewer if it
/// may not open enough files for them.
[[nodiscard]] std::size_t default_task_count();

/// What is to be seen of a file before its events are counted: where triggers are used, whether
/// tasks may share its events.
/// A file fails that has no trigger data where the mode needs them, with std::invalid_argument.
[[nodiscard]] Look_At look_at_files(Image_Settings::ExtTrigger_Mode mode);

/// Shares the events of files among the tasks of a job.
[[nodiscard]] Work_Queue queue_for(const Counting_Job& job, Input_List files, On_Failure onFailure,
                                   const Sharing& sharing);

/// The number of trigger intervals of files that did not fail.
[[nodiscard]] std::size_t count_intervals(Image_Settings::ExtTrigger_Mode mode,
                                          std::span<const File_Account> files);

/// Counts all events of a queue; a single task works on the calling thread.
/// Throws: where a failure ends the run, as `Work_Queue::rethrow_failure`; std::bad_alloc;
/// std::system_error if a thread cannot be started.
Run_Account count_events(const Counting_Job& job, Work_Queue& queue, const Sharing& sharing);

/// Counts the events of all files.
/// Throws: as `count_events`.
Run_Account count_files(const Counting_Job& job, std::span<const std::string> files,
                        On_Failure onFailure, const Sharing& sharing);

/// Counts the events of all files, by several tasks if that is wanted: on one machine or on more.
using Count_Files =
    std::function<Run_Account(const Counting_Job& job, std::span<const std::string> files,
                              On_Failure onFailure, bool concurrent)>;

/// Counts them in this process.
/// Throws: as `count_events`.
Run_Account count_in_this_process(const Counting_Job& job, std::span<const std::string> files,
                                  On_Failure onFailure, bool concurrent);
