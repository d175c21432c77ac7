#pragma once

#include <filesystem>

/// The path to which the symbolic links at this path lead, one after another; it need not exist.
/// Links among the folders on the way stay as they are, and so do links that others have placed in
/// a folder that all share: these may be traps.
[[nodiscard]] std::filesystem::path follow_links(std::filesystem::path path);

/// The folder that a path lies in: "." for a mere name.
[[nodiscard]] std::filesystem::path folder_of(const std::filesystem::path& path);
