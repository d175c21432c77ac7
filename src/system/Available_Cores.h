#pragma once

#include <cstddef>
#include <filesystem>
#include <vector>

/// The numbers of the cores of the CPU mask; none if the system does not tell.
[[nodiscard]] std::vector<std::size_t> usable_cores();

/// The number of cores that this process may use, at least 1: those of its CPU mask, fewer if a
/// control group gives it less time than that.
/// `root` is where control groups are looked up; another one than "/" only serves tests.
[[nodiscard]] std::size_t available_cores(const std::filesystem::path& root = "/");
