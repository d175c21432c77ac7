#pragma once

#include "Survey.h"
#include "suggestions.h"

#include <string>

/// What was found, for people.
[[nodiscard]] std::string text_report(const Survey& survey, const Suggestions& suggestions);

/// The same as one JSON object, for programs. What is not known is null, and so are numbers that
/// JSON cannot hold.
[[nodiscard]] std::string json_report(const Survey& survey, const Suggestions& suggestions);
