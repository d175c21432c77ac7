#pragma once

#include "Survey.h"

#include <string>
#include <vector>

/// What is odd about each file: a list of short texts, empty for most. Faulty files have none. What
/// more than half of the files have in common is not odd.
[[nodiscard]] std::vector<std::vector<std::string>> oddities_of(const Survey& survey);

/// What one should know of all files together before an image is made of them, in sentences.
[[nodiscard]] std::vector<std::string> warnings_of(const Survey& survey);
