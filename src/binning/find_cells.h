#pragma once

#include "Event.h"
#include "Filters_Events.h"
#include "binning/Interval.h"
#include "binning/Placement.h"

#include <cstddef>
#include <span>

// What is done with whole pieces of events, by vector instructions where the machine has them.

/// How many of some events pass the filter, and how many of these lie in the image.
struct Found {
    std::size_t nAccepted;
    std::size_t nCells;
};

/// Finds the cells of the events of one interval that pass the filter and lie in the image, and
/// writes them to the start of `cells`, in the order of the events.
/// `cells` must have room for one cell per event, and the image of frames a page for the interval.
Found find_cells(const Placement& placement, std::span<const orven::Photon_Event> events,
                 const orven::Photon_Filter& filter, const Interval& interval,
                 std::span<std::size_t> cells);

/// How many of the events pass the filter.
[[nodiscard]] std::size_t count_accepted(std::span<const orven::Photon_Event> events,
                                         const orven::Photon_Filter& filter) noexcept;
