#pragma once

#include "Event_File.h"
#include "Survey.h"

/// What is found of a file's triggers, which it must have, in two passes over them. `periods` gets
/// the ticks from each pulse to the next.
/// Throws: std::invalid_argument "Read Error!".
[[nodiscard]] Trigger_Summary survey_triggers(const orven::Event_File& file, Value_Sample& periods);
