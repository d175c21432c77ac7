#pragma once

#include "Survey.h"
#include "suggestions.h"

#include <cstddef>
#include <string>

/// What was found, for people: on a screen, but where there is a block for each file. Lines are so
/// long at most, and 80 characters if that is more; but for commands, and paths.
[[nodiscard]] std::string text_report(const Survey& survey, const Suggestions& suggestions,
                                      bool each_file, std::size_t columns);

/// The same, and more, as one JSON object, for programs. What is not known is null, and so are
/// numbers that JSON cannot hold.
[[nodiscard]] std::string json_report(const Survey& survey, const Suggestions& suggestions);
