#pragma once

#include <cstddef>
#include <functional>

/// What one of several tasks does. It calls `found_work` each time it has found something to do.
using Task = std::function<void(std::size_t i, const std::function<void()>& found_work)>;

/// Runs `task(i)` for i from 0 up to `n` - 1, each on a thread of its own if there may be several.
/// A task that has found work starts the next one: at once if its own thread was given a core at
/// once, or when it has worked for several times as long as it had waited. So at most one task is
/// started that finds no work, and those beyond the cores that are free only one by one.
/// When a task throws, `stop()` is called, and the exception is thrown when all have ended.
/// Returns how many tasks, from the first on, have been run.
/// Throws: std::system_error if a thread cannot be started, std::bad_alloc.
std::size_t run_concurrently(std::size_t n, const Task& task, const std::function<void()>& stop);
