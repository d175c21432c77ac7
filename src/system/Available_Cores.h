#pragma once

#include <cstddef>
#include <filesystem>

/// The number of cores that this process may use, at least 1: those of its CPU mask, fewer if a
/// control group gives it less time than that.
/// `root` is where control groups are looked up; another one than "/" only serves tests.
[[nodiscard]] std::size_t available_cores(const std::filesystem::path& root = "/");
