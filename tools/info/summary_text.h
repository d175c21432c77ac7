#pragma once

#include "Survey.h"

#include <cstdint>
#include <string>

/// A line of a summary: its name and what it says.
[[nodiscard]] std::string summary_line(const std::string& name, const std::string& content);

/// What is known of a file, or of all together, which have so many bytes: a few lines.
[[nodiscard]] std::string summary_text(const Summary& summary, std::int64_t bytes);
