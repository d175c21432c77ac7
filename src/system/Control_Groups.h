#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string_view>

// The control groups that this process is in. The system keeps them as folders; `root` is where
// they are looked up, and is another one than "/" only for tests.

/// The two versions of control groups, which a system may have side by side.
enum class Group_Version { one, two };

/// Calls `visit` with the folder of each group that limits this process by this controller
/// ("memory", "cpu"), as far as they can be seen: its own and all above it.
void for_each_group(const std::filesystem::path& root, Group_Version version,
                    std::string_view controller,
                    const std::function<void(const std::filesystem::path&)>& visit);

/// The number at the start of a file; empty if there is none.
[[nodiscard]] std::optional<std::int64_t> number_in(const std::filesystem::path& file);
