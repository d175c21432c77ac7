#pragma once

#include <chrono>
#include <cstddef>
#include <functional>

/// What one of several tasks does. It calls `found_work` each time it has found something to do.
using Task = std::function<void(std::size_t i, const std::function<void()>& found_work)>;

/// How long tasks work, where cores are busy, before they start others: these gain little then, and
/// take the place of others in their caches.
inline constexpr std::chrono::milliseconds least_between_starts(50);

/// Runs `task(i)` for i from 0 up to `n` - 1, each on a thread of its own if there may be several.
/// Tasks that find work start others, so where there is little work few are started: the first one,
/// and each whose thread found a free core, starts the next at once. Beyond that each starts
/// another whenever it has worked for `between_starts`. A thread that cannot be started is done
/// without, if others run. When a task throws, `stop()` is called, and the exception is thrown when
/// all have ended. Returns how many tasks, from the first on, have been run. Throws:
/// std::system_error if no thread can be started, std::bad_alloc.
std::size_t run_concurrently(std::size_t n, const Task& task, const std::function<void()>& stop,
                             std::chrono::milliseconds between_starts = least_between_starts);
