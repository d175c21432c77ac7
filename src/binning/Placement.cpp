#include "binning/Placement.h"

#include <cassert>

namespace {

/// Placement, filter and interval are copies: the compiler could not know that writing cells leaves
/// the originals as they are, and would load them again for each event. Numbers are joined, not
/// conditions: those share a byte of a register, for which each event waits for the one before.
template <class Kind>
Found find_cells_of(Kind placement, std::span<const orven::Photon_Event> events,
                    orven::Photon_Filter filter,  // NOLINT(performance-*): see above
                    Interval interval, std::span<std::size_t> cells) noexcept {
    std::size_t nAccepted = 0;
    std::size_t nCells = 0;
    for (const orven::Photon_Event& event : events) {
        const auto [inside, cell] =
            placement.place(event, interval.relative(event.time), interval.frameIndex);
        const std::size_t accepted{filter.accepts(event)};
        cells[nCells] = cell;
        nCells += inside & accepted;
        nAccepted += accepted;
    }
    return {nAccepted, nCells};
}

}  // namespace

Found find_cells(const Placement& placement, std::span<const orven::Photon_Event> events,
                 const orven::Photon_Filter& filter, const Interval& interval,
                 std::span<std::size_t> cells) {
    assert(cells.size() >= events.size());
    return std::visit(
        [&](const auto& kind) { return find_cells_of(kind, events, filter, interval, cells); },
        placement);
}

std::size_t count_accepted(std::span<const orven::Photon_Event> events,
                           const orven::Photon_Filter& filter) noexcept {
    std::size_t nAccepted = 0;
    for (const orven::Photon_Event& event : events) {
        nAccepted += filter.accepts(event) ? 1 : 0;
    }
    return nAccepted;
}
