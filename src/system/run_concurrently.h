#pragma once

#include <cstddef>
#include <functional>

/// Runs `work(i)` for i from 0 to `n` - 1, each on a thread of its own if there are several. When
/// one throws, `stop()` is called, and the exception is thrown when all have ended.
/// Throws: std::system_error if a thread cannot be started, std::bad_alloc.
void run_concurrently(std::size_t n, const std::function<void(std::size_t)>& work,
                      const std::function<void()>& stop);
