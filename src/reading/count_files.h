#pragma once

#include "reading/Counting_Task.h"
#include "reading/Work_Queue.h"

#include <cstddef>
#include <string>
#include <vector>

/// The number of tasks of a concurrent run: one per hardware thread, fewer if the process may not
/// open enough files for them.
[[nodiscard]] std::size_t default_task_count() noexcept;

/// Counts all files with this many concurrent tasks. A file that fails is logged and left.
/// Returns the number of trigger intervals.
/// Throws: std::bad_alloc; std::system_error if a thread cannot be started.
std::size_t count_files_concurrently(const Counting_Job& job, const std::vector<std::string>& files,
                                     std::size_t nTasks,
                                     std::size_t piece_length = events_per_piece);

/// Counts one file after another on the calling thread. Returns the number of trigger intervals.
/// Throws: what the first file that fails throws; std::bad_alloc.
std::size_t count_files_in_order(const Counting_Job& job, const std::vector<std::string>& files);
