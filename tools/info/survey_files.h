#pragma once

#include "Survey.h"
#include "progress/Progress_Count.h"

#include <string>
#include <vector>

/// Looks at the events within the bounds of all files, by all cores. A file that cannot be read is
/// told of with the reason and counts nowhere. Events are counted in `nRead` as they are read.
/// Throws: std::bad_alloc; std::system_error if a thread cannot be started.
[[nodiscard]] Survey survey_files(const std::vector<std::string>& paths, const Bounds& bounds,
                                  Progress_Count& nRead);
