#pragma once

#include "Event.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

/// The records of one block: how many there are, and what makes the next ones, piece after piece.
template <class Record>
struct Record_Source {
    std::uint64_t nRecords;
    std::function<void(std::span<Record>)> fill;
};

/// Writes an event file, with a trigger block if `triggers` is given.
/// Throws: std::system_error that names the path and the reason. What is left of the file then is
/// shorter than its headers say, so that no reader takes it for a recording.
void write_event_file(const std::string& path,
                      const std::optional<Record_Source<orven::Event_Time>>& triggers,
                      const Record_Source<orven::Photon_Event>& events);
