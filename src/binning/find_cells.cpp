#include "binning/find_cells.h"

#include "Branchless.h"

#include <array>
#include <cassert>
#include <cstdint>

// This file is compiled once for each set of vector instructions.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "binning/find_cells.cpp"
// SSSE3 rounds too slowly; vectors whose size is not known cannot be members of classes.
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128 | HWY_RVV)
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// Compiled as often, so they come last.
#include "binning/Filter_Lanes.h"
#include "binning/Placement_Lanes.h"

HWY_BEFORE_NAMESPACE();
namespace find_cells_kernels::HWY_NAMESPACE {

using Events = std::span<const orven::Photon_Event>;

/// One event after the other. Placement, filter and interval are copies: references would be loaded
/// again after each cell that is written. Numbers are joined, not conditions, which are slower.
template <class Kind>
Found find_one_by_one(Kind placement, Events events,
                      orven::Photon_Filter filter,  // NOLINT(performance-*)
                      Interval interval, std::size_t* cells) noexcept {
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

std::size_t count_one_by_one(Events events, const orven::Photon_Filter& filter) {
    std::size_t nAccepted = 0;
    for (const orven::Photon_Event& event : events) {
        nAccepted += filter.accepts(event) ? 1 : 0;
    }
    return nAccepted;
}

#if HWY_TARGET == HWY_EMU128 || HWY_TARGET == HWY_SCALAR

template <class Kind>
Found find(const Kind& placement, Events events, const orven::Photon_Filter& filter,
           const Interval& interval, std::size_t* cells) noexcept {
    return find_one_by_one(placement, events, filter, interval, cells);
}

std::size_t count_events(Events events, const orven::Photon_Filter& filter) {
    return count_one_by_one(events, filter);
}

#else

/// The events that fill whole vectors, and the rest.
struct Split {
    Events whole;
    Events rest;
};

Split split(Events events) {
    const std::size_t nWhole = events.size() / hn::Lanes(Whole()) * hn::Lanes(Whole());
    return {events.first(nWhole), events.subspan(nWhole)};
}

// The vector library's own compression is several times slower: it makes a table for each vector.
#if HWY_TARGET <= HWY_AVX3  // AVX-512, later sets of it included

/// Appends the cells of the chosen lanes; writes a whole vector. One instruction for both,
/// compressing and storing, is slower.
HWY_INLINE std::size_t append(Whole_Lanes cells, Mask chosen, std::size_t* end) {
    const Whole_Lanes sorted{_mm512_maskz_compress_epi64(chosen.raw, cells.raw)};
    hn::StoreU(sorted, Whole(), reinterpret_cast<std::uint64_t*>(end));
    return hn::CountTrue(Real(), chosen);
}

#elif HWY_TARGET == HWY_SSE4

/// Appends the cells of the chosen ones of two lanes; writes one more.
HWY_INLINE std::size_t append(Whole_Lanes cells, Mask chosen, std::size_t* end) {
    std::uint8_t bits[8] = {};
    hn::StoreMaskBits(Real(), chosen, bits);
    const std::size_t first = bits[0] & 1U;
    // The portable store of the upper lane is slower.
    const auto lanes = hn::BitCast(hn::Repartition<float, Whole>(), cells).raw;
    _mm_storel_pi(reinterpret_cast<__m64*>(end), lanes);
    _mm_storeh_pi(reinterpret_cast<__m64*>(end + first), lanes);
    return first + (bits[0] >> 1U);
}

#else

constexpr std::size_t nMost_lanes = hn::MaxLanes(Whole());

/// For each choice of lanes, as bits: the order of the halves of lanes that puts the chosen ones in
/// front.
constexpr auto chosen_first = [] {
    static_assert(nMost_lanes <= 8);  // whose bits fill one byte
    std::array<std::array<std::uint32_t, 2 * nMost_lanes>, 1U << nMost_lanes> orders{};
    for (std::size_t bits = 0; bits < orders.size(); ++bits) {
        std::size_t n = 0;
        for (std::uint32_t lane = 0; lane < nMost_lanes; ++lane) {
            if ((bits >> lane & 1U) != 0) {
                orders[bits][n++] = 2 * lane;
                orders[bits][n++] = 2 * lane + 1;
            }
        }
    }
    return orders;
}();

/// Appends the cells of the chosen lanes; writes a whole vector.
HWY_INLINE std::size_t append(Whole_Lanes cells, Mask chosen, std::size_t* end) {
    const Whole whole;
    const hn::Repartition<std::uint32_t, Whole> halves;
    std::uint8_t bits[8] = {};
    hn::StoreMaskBits(Real(), chosen, bits);
    const auto order = hn::SetTableIndices(halves, chosen_first[bits[0]].data());
    const auto sorted = hn::TableLookupLanes(hn::BitCast(halves, cells), order);
    hn::StoreU(hn::BitCast(whole, sorted), whole, reinterpret_cast<std::uint64_t*>(end));
    return hn::CountTrue(Real(), chosen);
}

#endif

template <class Kind>
Found find(const Kind& placement, Events events, const orven::Photon_Filter& filter,
           const Interval& interval, std::size_t* cells) noexcept {
    const auto [whole, rest] = split(events);
    const Placement_Lanes<Kind> kind(placement, interval);
    const Filter_Lanes filter_lanes(filter);
    std::size_t nCells = 0;
    auto nAccepted = hn::Zero(Signed());
    for (std::size_t i = 0; i < whole.size(); i += hn::Lanes(Whole())) {
        const Event_Lanes lanes = load(&whole[i]);
        const Mask accepted = filter_lanes.accept(lanes);
        const auto [inside, cell] = kind.place(lanes);
        // As a number, a lane of a mask is -1.
        nAccepted = hn::Sub(nAccepted, hn::BitCast(Signed(), hn::VecFromMask(Real(), accepted)));
        // There are no more cells than events so far, so a whole vector has room behind them.
        nCells += append(cell, hn::And(inside, accepted), cells + nCells);
    }
    const Found last = find_one_by_one(placement, rest, filter, interval, cells + nCells);
    const auto nWhole_accepted = hn::GetLane(hn::SumOfLanes(Signed(), nAccepted));
    return {static_cast<std::size_t>(nWhole_accepted) + last.nAccepted, nCells + last.nCells};
}

std::size_t count_events(Events events, const orven::Photon_Filter& filter) {
    const auto [whole, rest] = split(events);
    const Filter_Lanes filter_lanes(filter);
    std::size_t nAccepted = count_one_by_one(rest, filter);
    for (std::size_t i = 0; i < whole.size(); i += hn::Lanes(Whole())) {
        nAccepted += hn::CountTrue(Real(), filter_lanes.accept(load(&whole[i])));
    }
    return nAccepted;
}

#endif

Found find_integrated(const Integrated_Placement& placement, Events events,
                      const orven::Photon_Filter& filter, const Interval& interval,
                      std::size_t* cells) {
    return find(placement, events, filter, interval, cells);
}

Found find_time_bins(const Time_Bin_Placement& placement, Events events,
                     const orven::Photon_Filter& filter, const Interval& interval,
                     std::size_t* cells) {
    if (!placement.get_axes().time_bins().fits_doubles()) {
        return find_one_by_one(placement, events, filter, interval, cells);
    }
    return find(placement, events, filter, interval, cells);
}

Found find_frames(const Frame_Placement& placement, Events events,
                  const orven::Photon_Filter& filter, const Interval& interval,
                  std::size_t* cells) {
    assert(placement.get_axes().time_bins().contains(interval.frameIndex));
    return find(placement, events, filter, interval, cells);
}

}  // namespace find_cells_kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace find_cells_kernels {

HWY_EXPORT(find_integrated);
HWY_EXPORT(find_time_bins);
HWY_EXPORT(find_frames);
HWY_EXPORT(count_events);

Found find(const Integrated_Placement& placement, const auto&... rest) noexcept {
    return HWY_DYNAMIC_DISPATCH(find_integrated)(placement, rest...);
}
Found find(const Time_Bin_Placement& placement, const auto&... rest) noexcept {
    return HWY_DYNAMIC_DISPATCH(find_time_bins)(placement, rest...);
}
Found find(const Frame_Placement& placement, const auto&... rest) noexcept {
    return HWY_DYNAMIC_DISPATCH(find_frames)(placement, rest...);
}

std::size_t accepted(std::span<const orven::Photon_Event> events,
                     const orven::Photon_Filter& filter) {
    return HWY_DYNAMIC_DISPATCH(count_events)(events, filter);
}

}  // namespace find_cells_kernels

Found find_cells(const Placement& placement, std::span<const orven::Photon_Event> events,
                 const orven::Photon_Filter& filter, const Interval& interval,
                 std::span<std::size_t> cells) {
    assert(cells.size() >= events.size());
    return std::visit(
        [&](const auto& kind) {
            return find_cells_kernels::find(kind, events, filter, interval, cells.data());
        },
        placement);
}

std::size_t count_accepted(std::span<const orven::Photon_Event> events,
                           const orven::Photon_Filter& filter) noexcept {
    return find_cells_kernels::accepted(events, filter);
}

#endif
