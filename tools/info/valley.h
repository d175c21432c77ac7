#pragma once

#include "Distribution.h"

#include <cstdint>
#include <optional>

/// Where the events between two populations are fewest.
struct Valley {
    double lower_peak;
    double bound;  ///< the smallest value that belongs to the upper population; of few digits
    double upper_peak;
    std::uint64_t nAbove;  ///< events from the bound on, as far as bins tell
};

/// The valley of a distribution with two populations, each of at least a hundredth of all; none
/// where there is one population, or more than two. `whole` is for whole numbers.
[[nodiscard]] std::optional<Valley> find_valley(const Distribution& distribution, bool whole);
