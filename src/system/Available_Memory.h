#pragma once

#include <cstdint>
#include <filesystem>

/// The number of bytes that this process can still get: the least of what the machine has available
/// (swap included) and of what the control groups that the process is in leave to it, versions 2
/// and 1, each with all groups above it. File contents that the system keeps in memory count as
/// available. The largest number if nothing is told.
/// `root` is where the system tells it; another one than "/" only serves tests.
[[nodiscard]] std::uint64_t available_memory(const std::filesystem::path& root = "/");
