#pragma once

#include "Survey.h"

#include <cstdint>
#include <optional>

/// Time bins that hold nearly all events.
struct Bin_Plan {
    double bin_seconds;
    double start_seconds;  ///< where the first bin begins
    std::uint64_t nPages;
    std::uint64_t nLost;  ///< events beside them, as far as histograms tell
};

/// About 100 bins over the time in which the events are: without the rest if that is most of the
/// time and holds less than a thousandth of them. There must be events, of more than one moment.
/// Empty where they are too far from time zero.
[[nodiscard]] std::optional<Bin_Plan> bins_over_time(const Survey& survey);

/// The same of the time since a trigger. There must be trigger intervals with a period.
[[nodiscard]] std::optional<Bin_Plan> bins_since_trigger(const Survey& survey);

/// One page for each of so many intervals, as long as they are but for those with a missing
/// trigger.
[[nodiscard]] Bin_Plan frames(const Survey& survey, std::uint64_t nPages);
