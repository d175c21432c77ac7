#pragma once

#include <cstddef>
#include <span>
#include <vector>

/// What is to be divided of one file.
struct File_Share {
    std::size_t nEvents;  ///< 0 if none of them can count
    bool divisible;       ///< whether several may work on the file
};

/// Some events of one file; never none.
struct File_Part {
    std::size_t file;  ///< index in the list
    std::size_t first;
    std::size_t end;

    bool operator==(const File_Part&) const = default;
};

/// The events of one of `n` parts into which all events are divided, in list order. Parts are about
/// equal, and files are cut between pieces of `piece_length` events, at least 1.
/// Range: `part` < `n`.
[[nodiscard]] std::vector<File_Part> divide_events(std::span<const File_Share> files,
                                                   std::size_t part, std::size_t n,
                                                   std::size_t piece_length);
