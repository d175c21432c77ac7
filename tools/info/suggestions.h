#pragma once

#include "Named_Input.h"
#include "Survey.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// A command line of vexolan that fits a recording, and what it makes.
struct Suggestion {
    std::string mode;                   ///< of the triggers
    std::string what;                   ///< the image in words
    std::string shell;                  ///< as it can be pasted
    std::optional<double> bin_seconds;  ///< as really used, after rounding to ticks
    std::uint64_t nPages;
    std::uint64_t size;        ///< rows, and columns
    std::uint64_t imageBytes;  ///< in memory
    std::uint64_t fileBytes;
};

/// The suggestions, and why there is none for a mode.
struct Suggestions {
    std::vector<Suggestion> list;
    std::vector<std::string> notes;
};

/// `inputs` are the files and folders that were asked for.
[[nodiscard]] Suggestions suggest(const Survey& survey, const std::vector<Named_Input>& inputs);
