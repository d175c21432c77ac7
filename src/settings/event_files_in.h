#pragma once

#include <string>
#include <vector>

/// The event files in a folder, in no certain order: what is called *.orvenevent, hidden or not,
/// and is a regular file or cannot be examined: opening it will then say so, where skipping it
/// would lose its events without a word.
/// Throws: std::filesystem::filesystem_error.
[[nodiscard]] std::vector<std::string> event_files_in(const std::string& folder);
