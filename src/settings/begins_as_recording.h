#pragma once

/// Whether the file at a path, relative to this open folder or `AT_FDCWD`, begins as event files
/// do. What cannot be read does not.
[[nodiscard]] bool begins_as_recording(int folder, const char* path) noexcept;
