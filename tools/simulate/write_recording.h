#pragma once

#include "Recording.h"
#include "Scene.h"

#include <cstdint>
#include <string>

/// Writes one file of a recording. With triggers, it has one at the start of each of its pulses
/// and one at the end of the last, so that each event lies between two triggers of its file.
/// Throws: as `write_event_file`.
void write_recording(const std::string& path, const Scene& scene, const Recording& recording,
                     std::uint64_t file_index);
