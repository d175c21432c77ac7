#pragma once

#include "Bounds.h"

#include <string>
#include <vector>

/// What vexolan-info --json writes about event files, and folders of such, of which events within
/// the bounds are looked at: one JSON object. All cores work on it; nothing is printed.
/// Throws: as `look_up`; std::bad_alloc; std::system_error if a thread cannot be started.
[[nodiscard]] std::string survey_json(const std::vector<std::string>& paths,
                                      const Bounds& bounds = {});
