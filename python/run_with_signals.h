#pragma once

#include "progress/Progress_Count.h"

#include <pybind11/pybind11.h>

#include <functional>

/// Runs `work` on a thread of its own, while others may run Python. The calling thread, which must
/// hold the interpreter lock, looks at signals meanwhile, and calls `report`, unless it is None,
/// with how much is done.
/// If one of these raises, `done` is cancelled, which `work` must notice, and this waits for it.
/// Throws: what `work` throws; what was raised; std::system_error if no thread can be started.
void run_with_signals(const std::function<void()>& work, Progress_Count& done,
                      const pybind11::object& report);
