#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

/// A histogram in one line of a text.
struct Bar_Line {
    std::string bars;      ///< a character for each bar, at most 60; a blank where nothing is
    std::size_t bar_bins;  ///< how many bins are in a bar, but perhaps fewer in the last
    std::uint64_t most;    ///< the largest count of a bar
};

/// Bins must be equally wide, and there must be any. Where bars are nearly as long as a period of
/// so many bins or longer, they hold whole periods as far as possible, so that there are no dips
/// that come from the bars alone.
[[nodiscard]] Bar_Line bar_line(std::span<const std::uint64_t> counts,
                                std::optional<double> period = {});
