#pragma once

#include <chrono>
#include <cstddef>
#include <functional>

/// What one of several tasks does. It calls `found_work` each time it has found something to do.
using Task = std::function<void(std::size_t i, const std::function<void()>& found_work)>;

/// What starting one more task must be worth, where cores are busy: it gains little then, and takes
/// the place of others in their caches.
inline constexpr std::chrono::milliseconds least_work_per_start(100);

/// Runs `task(i)` for i from 0 up to `n` - 1, each on a thread of its own if there may be several.
/// Tasks that have found work start others: the first one starts a second in any case, the last one
/// the next if it does not wait for its own core, and each starts another whenever it has used a
/// core for `work_per_start`. So where there is little work few tasks are started, and those beyond
/// the cores that are free only as the work goes on. When a task throws, `stop()` is called, and
/// the exception is thrown when all have ended. Returns how many tasks, from the first on, have
/// been run.
/// Throws: std::system_error if a thread cannot be started, std::bad_alloc.
std::size_t run_concurrently(std::size_t n, const Task& task, const std::function<void()>& stop,
                             std::chrono::milliseconds work_per_start = least_work_per_start);
