#pragma once

#include "Recording.h"
#include "Scene.h"

#include <cstdint>
#include <string>

/// Writes one file of a recording. With triggers, it has one at the start of each of its pulses
/// and one at the end of the last, so that each event lies between two triggers of its file.
/// Throws: std::system_error that names the path and the reason. What is left of the file then is
/// shorter than its headers say, so that no reader takes it for a recording.
void write_event_file(const std::string& path, const Scene& scene, const Recording& recording,
                      std::uint64_t file);
