#include "binning/find_cells.h"

#include "Branchless.h"

#include <array>
#include <cassert>
#include <cstdint>
#include <limits>

// This file is compiled once for each set of vector instructions.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "binning/find_cells.cpp"
#define HWY_DISABLED_TARGETS HWY_SSSE3  // rounds too slowly
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace find_cells_kernels::HWY_NAMESPACE {

using Events = std::span<const orven::Photon_Event>;

/// One event after the other. Placement, filter and interval are copies: the compiler could not
/// know that writing cells leaves the originals as they are, and would load them again for each
/// event. Numbers are joined, not conditions: those share a byte of a register, for which each
/// event waits for the one before.
template <class Kind>
Found find_one_by_one(Kind placement, Events events,
                      orven::Photon_Filter filter,  // NOLINT(performance-*): see above
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

namespace hn = hwy::HWY_NAMESPACE;

using Whole = hn::ScalableTag<std::uint64_t>;
using Signed = hn::ScalableTag<std::int64_t>;
using Real = hn::ScalableTag<double>;
using Whole_Lanes = hn::Vec<Whole>;
using Signed_Lanes = hn::Vec<Signed>;
using Real_Lanes = hn::Vec<Real>;
using Mask = hn::Mask<Real>;

/// As many events as a vector has lanes, field by field; an event is just four lanes.
struct Event_Lanes {
    Whole_Lanes position;  ///< x in the lower half, y in the upper
    Whole_Lanes time;
    Whole_Lanes nPhotons;
    Real_Lanes psd;
};
static_assert(sizeof(orven::Photon_Event) == 4 * sizeof(std::uint64_t));

/// Events that fill whole vectors, and those after them.
struct Split {
    Events whole;
    Events rest;
};

Split split(Events events) {
    const std::size_t nWhole = events.size() / hn::Lanes(Whole()) * hn::Lanes(Whole());
    return {events.first(nWhole), events.subspan(nWhole)};
}

HWY_INLINE Event_Lanes load(const orven::Photon_Event* events) {
    const Whole whole;
    Event_Lanes lanes;
    Whole_Lanes psd;
    hn::LoadInterleaved4(whole, reinterpret_cast<const std::uint64_t*>(events), lanes.position,
                         lanes.time, lanes.nPhotons, psd);
    lanes.psd = hn::BitCast(Real(), psd);
    return lanes;
}

// A double from 2^52 on holds a whole number in its lower 52 bits.
constexpr double two_52 = 0x1p52;
constexpr std::uint64_t bits_of_two_52 = 0x4330'0000'0000'0000;

/// Whole numbers below 2^52 as doubles.
HWY_INLINE Real_Lanes to_real(Whole_Lanes number) {
    const auto joined = hn::Or(number, hn::Set(Whole(), bits_of_two_52));
    return hn::Sub(hn::BitCast(Real(), joined), hn::Set(Real(), two_52));
}

/// Doubles that are whole numbers below 2^52 as such.
HWY_INLINE Whole_Lanes to_whole(Real_Lanes number) {
    const auto joined = hn::BitCast(Whole(), hn::Add(number, hn::Set(Real(), two_52)));
    return hn::Xor(joined, hn::Set(Whole(), bits_of_two_52));
}

/// The filter, as `accepts` is for one event.
class Filter_Lanes {
public:
    explicit Filter_Lanes(const orven::Photon_Filter& filter)
        : Filter_Lanes(filter.core<orven::Photon_Filters::NPhotons_Core>(),
                       filter.core<orven::Photon_Filters::PSD_Core>()) {}

    [[nodiscard]] HWY_INLINE Mask accept(const Event_Lanes& events) const {
        // One comparison for both bounds, of differences that wrap.
        const auto difference = hn::BitCast(Signed(), hn::Sub(events.nPhotons, count_origin));
        const auto out_of_counts = hn::RebindMask(Real(), hn::Gt(difference, count_range));
        const auto in_psds = hn::And(hn::Ge(events.psd, psd_min), hn::Le(events.psd, psd_max));
        return hn::AndNot(out_of_counts, hn::Or(in_psds, any_psd));
    }

private:
    static constexpr double infinity = std::numeric_limits<double>::infinity();
    /// Added to unsigned numbers, gives signed ones in the same order.
    static constexpr std::uint64_t sign = std::uint64_t{1} << 63U;

    Filter_Lanes(const orven::Photon_Filters::NPhotons_Core& counts,
                 const orven::Photon_Filters::PSD_Core& psds)
        : count_origin(hn::Set(Whole(), counts.min + sign)),
          count_range(hn::BitCast(Signed(), hn::Set(Whole(), counts.max - counts.min + sign))),
          // Where no count is accepted, no PSD is either.
          psd_min(hn::Set(Real(), no_count(counts) ? infinity : psds.min.value_or(-infinity))),
          psd_max(hn::Set(Real(), no_count(counts) ? -infinity : psds.max.value_or(infinity))),
          any_psd(all_if(!no_count(counts) && !psds.min && !psds.max)) {}

    static bool no_count(const orven::Photon_Filters::NPhotons_Core& counts) {
        return counts.min > counts.max;
    }

    static HWY_INLINE Mask all_if(bool condition) {
        return hn::FirstN(Real(), condition ? hn::Lanes(Real()) : 0);
    }

    Whole_Lanes count_origin;
    Signed_Lanes count_range;
    Real_Lanes psd_min;
    Real_Lanes psd_max;
    Mask any_psd;
};

/// The pixels along one axis, as `Pixel_Axis` gives them, as doubles.
class Pixel_Lanes {
public:
    explicit Pixel_Lanes(const Pixel_Axis& axis)
        : reciprocal(hn::Set(Real(), axis.get_reciprocal())),
          nPixels(hn::Set(Real(), static_cast<double>(axis.size()))) {}

    /// The quotients of positions, of which the lower 32 bits are a signed number each.
    [[nodiscard]] HWY_INLINE Real_Lanes divide(Whole_Lanes low_halves) const {
        // With its sign bit turned, a number is 2^31 more than it is as a signed one.
        constexpr std::uint64_t turned = bits_of_two_52 | std::uint64_t{1} << 31U;
        const auto joined = hn::Xor(low_halves, hn::Set(Whole(), turned));
        return hn::Mul(hn::Sub(hn::BitCast(Real(), joined), hn::Set(Real(), two_52 + 0x1p31)),
                       reciprocal);
    }

    [[nodiscard]] HWY_INLINE Mask contain(Real_Lanes quotient) const {
        return hn::And(hn::Gt(quotient, hn::Set(Real(), -1.0)), hn::Lt(quotient, nPixels));
    }

    /// The position of a cell in a row after so many complete rows.
    [[nodiscard]] HWY_INLINE Real_Lanes cell(Real_Lanes row, Real_Lanes quotient) const {
        return hn::MulAdd(row, nPixels, hn::Trunc(quotient));
    }

private:
    Real_Lanes reciprocal;
    Real_Lanes nPixels;
};

/// The places on a page.
struct Grid_Places {
    Mask inside;
    Real_Lanes column;  ///< not yet cut to a whole number
    Real_Lanes row;
};

class Grid_Lanes {
public:
    explicit Grid_Lanes(const Pixel_Grid& grid) : columns(grid.columns), rows(grid.rows) {}

    [[nodiscard]] HWY_INLINE Grid_Places place(Whole_Lanes column, Whole_Lanes row) const {
        const auto column_quotient = columns.divide(column);
        const auto row_quotient = rows.divide(row);
        return {hn::And(columns.contain(column_quotient), rows.contain(row_quotient)),
                column_quotient, row_quotient};
    }

    /// The cell in the only page.
    [[nodiscard]] HWY_INLINE Real_Lanes cell(const Grid_Places& places) const {
        return columns.cell(hn::Trunc(places.row), places.column);
    }

    /// The cell in a page after so many complete pages.
    [[nodiscard]] HWY_INLINE Real_Lanes cell(Real_Lanes page, const Grid_Places& places) const {
        return columns.cell(rows.cell(page, places.row), places.column);
    }

private:
    Pixel_Lanes columns;
    Pixel_Lanes rows;
};

HWY_INLINE Whole_Lanes x_of(const Event_Lanes& events) {
    return hn::And(events.position, hn::Set(Whole(), 0xFFFF'FFFF));
}

HWY_INLINE Whole_Lanes y_of(const Event_Lanes& events) {
    return hn::ShiftRight<32>(events.position);
}

struct Cell_Lanes {
    Mask inside;
    Whole_Lanes cells;
};

/// What a kind of placement does with one event, with as many as a vector has lanes.
template <class Kind>
class Placement_Lanes;

template <>
class Placement_Lanes<Integrated_Placement> {
public:
    Placement_Lanes(const Integrated_Placement& placement, const Interval& /*interval*/)
        : grid(placement.get_grid()) {}

    [[nodiscard]] HWY_INLINE Cell_Lanes place(const Event_Lanes& events) const {
        const auto places = grid.place(x_of(events), y_of(events));
        return {places.inside, to_whole(grid.cell(places))};
    }

private:
    Grid_Lanes grid;
};

template <>
class Placement_Lanes<Time_Bin_Placement> {
public:
    Placement_Lanes(const Time_Bin_Placement& placement, const Interval& interval)
        : grid(placement.get_axes().get_grid()),
          open(hn::Set(Whole(), static_cast<std::uint64_t>(interval.open.value))),
          width(hn::Set(Signed(), placement.get_axes().time_bins().width())),
          end(hn::Set(Signed(), placement.get_axes().time_bins().end())),
          reciprocal(hn::Set(Real(), placement.get_axes().time_bins().get_reciprocal())) {}

    [[nodiscard]] HWY_INLINE Cell_Lanes place(const Event_Lanes& events) const {
        const auto time = hn::BitCast(Signed(), hn::Sub(events.time, open));
        const auto in_time =
            hn::And(hn::Gt(hn::Add(time, width), hn::Zero(Signed())), hn::Lt(time, end));
        const auto from_zero = hn::AndNot(hn::BroadcastSignBit(time), time);
        const auto page = hn::Trunc(hn::Mul(to_real(hn::BitCast(Whole(), from_zero)), reciprocal));
        const auto places = grid.place(y_of(events), x_of(events));
        return {hn::And(places.inside, hn::RebindMask(Real(), in_time)),
                to_whole(grid.cell(page, places))};
    }

private:
    Grid_Lanes grid;
    Whole_Lanes open;
    Signed_Lanes width;
    Signed_Lanes end;
    Real_Lanes reciprocal;
};

template <>
class Placement_Lanes<Frame_Placement> {
public:
    Placement_Lanes(const Frame_Placement& placement, const Interval& interval)
        : grid(placement.get_axes().get_grid()),
          open(hn::Set(Whole(), static_cast<std::uint64_t>(interval.open.value))),
          length(hn::Set(Signed(), placement.get_axes().time_bins().width())),
          page(hn::Set(Real(), static_cast<double>(interval.frameIndex))) {}

    [[nodiscard]] HWY_INLINE Cell_Lanes place(const Event_Lanes& events) const {
        const auto time = hn::BitCast(Signed(), hn::Sub(events.time, open));
        const auto late_or_early =
            hn::Or(hn::Lt(time, hn::Zero(Signed())), hn::Not(hn::Lt(time, length)));
        const auto places = grid.place(y_of(events), x_of(events));
        return {hn::AndNot(hn::RebindMask(Real(), late_or_early), places.inside),
                to_whole(grid.cell(page, places))};
    }

private:
    Grid_Lanes grid;
    Whole_Lanes open;
    Signed_Lanes length;
    Real_Lanes page;
};

#if HWY_TARGET == HWY_AVX3 || HWY_TARGET == HWY_AVX3_DL

/// Appends the cells of the chosen lanes.
HWY_INLINE std::size_t append(Whole_Lanes cells, Mask chosen, std::size_t* end) {
    const Whole whole;
    return hn::CompressStore(cells, hn::RebindMask(whole, chosen), whole,
                             reinterpret_cast<std::uint64_t*>(end));
}

#elif HWY_TARGET == HWY_SSE4

/// Appends the cells of the chosen ones of two lanes; writes one more.
HWY_INLINE std::size_t append(Whole_Lanes cells, Mask chosen, std::size_t* end) {
    std::uint8_t bits[8] = {};
    hn::StoreMaskBits(Real(), chosen, bits);
    const std::size_t first = bits[0] & 1U;
    // The portable way to store the upper lane shifts it down first.
    const auto lanes = hn::BitCast(hn::Repartition<float, Whole>(), cells).raw;
    _mm_storel_pi(reinterpret_cast<__m64*>(end), lanes);
    _mm_storeh_pi(reinterpret_cast<__m64*>(end + first), lanes);
    return first + (bits[0] >> 1U);
}

#else

constexpr std::size_t nMost_lanes = hn::MaxLanes(Whole());

/// For each choice of lanes, written as bits, the halves of all lanes with those of the chosen ones
/// in front. The library's own compression is several times slower: it makes such a table anew for
/// each vector.
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
