#include "binning/Placement.h"

#include <cassert>

namespace {

/// Placement, filter and interval are copies: the compiler could not know that writing cells leaves
/// the originals as they are, and would load them again for each event. Numbers are joined, not
/// conditions: those share a byte of a register, for which each event waits for the one before.
template <class Kind>
std::size_t find_cells_of(Kind placement, std::span<const orven::Photon_Event> events,
                          orven::Photon_Filter filter,  // NOLINT(performance-*): see above
                          Interval interval, std::span<std::size_t> cells) noexcept {
    std::size_t nFound = 0;
    for (const orven::Photon_Event& event : events) {
        const auto [inside, cell] =
            placement.place(event, interval.relative(event.time), interval.frameIndex);
        cells[nFound] = cell;
        nFound += inside & std::size_t{filter.accepts(event)};
    }
    return nFound;
}

}  // namespace

std::size_t find_cells(const Placement& placement, std::span<const orven::Photon_Event> events,
                       const orven::Photon_Filter& filter, const Interval& interval,
                       std::span<std::size_t> cells) {
    assert(cells.size() >= events.size());
    return std::visit(
        [&](const auto& kind) { return find_cells_of(kind, events, filter, interval, cells); },
        placement);
}
