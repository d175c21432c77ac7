#pragma once

#include <optional>
#include <string>
#include <vector>

/// The event files in a folder, in no certain order: what is called *.orvenevent, hidden or not,
/// and is a regular file or cannot be examined: opening it will then say so, where skipping it
/// would lose its events without a word.
/// Throws: std::filesystem::filesystem_error.
[[nodiscard]] std::vector<std::string> event_files_in(const std::string& folder);

/// The first subfolder, by name, that has event files in it; empty if none has, or none can be
/// read.
[[nodiscard]] std::optional<std::string> subfolder_with_event_files(const std::string& folder);
