#pragma once

#include "Named_Input.h"
#include "Survey.h"
#include "valley.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// Time bins as really used, after rounding to ticks.
struct Suggested_Bins {
    double bin_seconds;
    double start_seconds;
    double named_seconds;  ///< the length as the command says it, in fewer digits
};

/// A command line of vexolan that fits a recording, and what it makes.
struct Suggestion {
    std::string mode;                    ///< of the triggers
    std::string what;                    ///< the image in words
    std::string shell;                   ///< as it can be pasted
    std::optional<Suggested_Bins> bins;  ///< empty for an image over all time
    std::uint64_t nPages;
    std::uint64_t size;        ///< rows, and columns
    std::uint64_t imageBytes;  ///< in memory
    std::uint64_t fileBytes;
    /// Events surveyed that are on no page because of their time; about, and empty if unknown.
    std::optional<std::uint64_t> nLost;
};

/// Where two populations are to be told apart.
struct Valleys {
    std::optional<Valley> nPhotons;
    std::optional<Valley> psd;
};

/// The suggestions, and why there is none for a mode.
struct Suggestions {
    Valleys valleys;
    std::string list_file;  ///< a command to be run first; empty if none is needed
    std::vector<Suggestion> list;
    std::vector<std::string> notes;
};

/// `inputs` are the files and folders that were asked for.
/// Throws: std::filesystem::filesystem_error.
[[nodiscard]] Suggestions suggest(const Survey& survey, const std::vector<Named_Input>& inputs);
