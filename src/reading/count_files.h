#pragma once

#include "reading/Counting_Task.h"
#include "reading/Run_Account.h"
#include "reading/Work_Queue.h"

#include <cstddef>
#include <span>
#include <string>

/// The number of tasks of a concurrent run: one for each core that the process may use, fewer if it
/// may not open enough files for them.
[[nodiscard]] std::size_t default_task_count();

/// Shares the events of files among the tasks of a job.
/// A file fails that has no trigger data where the job needs them, with std::invalid_argument.
[[nodiscard]] Work_Queue queue_for(const Counting_Job& job, std::span<const std::string> files,
                                   On_Failure onFailure, const Sharing& sharing);

/// Counts the events of all files; a single task works on the calling thread.
/// Throws: where a failure ends the run, as `Work_Queue::rethrow_failure`; std::bad_alloc;
/// std::system_error if a thread cannot be started.
Run_Account count_files(const Counting_Job& job, std::span<const std::string> files,
                        On_Failure onFailure, const Sharing& sharing);
