#pragma once

#include "Event.h"

#include <optional>
#include <string>

/// When a file's events and triggers begin and end, as far as its first and last ones tell.
struct File_Times {
    orven::Event_Time first_event;
    orven::Event_Time last_event;
    std::optional<orven::Event_Time> first_trigger;  ///< empty if there is none
};

/// Looks into a file; empty if it has no events, or cannot be read.
[[nodiscard]] std::optional<File_Times> times_of(const std::string& path) noexcept;
