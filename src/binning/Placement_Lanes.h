// Where as many events belong as a vector has lanes. Compiled once for each set of vector
// instructions: the guard turns with each.

#if defined(VEXOLAN_PLACEMENT_LANES_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VEXOLAN_PLACEMENT_LANES_H
#undef VEXOLAN_PLACEMENT_LANES_H
#else
#define VEXOLAN_PLACEMENT_LANES_H
#endif

#include "binning/Bin_Axis.h"
#include "binning/Filter_Lanes.h"
#include "binning/Interval.h"
#include "binning/Placement.h"

#include <hwy/highway.h>

#include <cstdint>

HWY_BEFORE_NAMESPACE();
namespace find_cells_kernels::HWY_NAMESPACE {

// A double from 2^52 on holds a whole number in its lower 52 bits.
constexpr double two_52 = 0x1p52;
constexpr std::uint64_t bits_of_two_52 = 0x4330'0000'0000'0000;

/// Whole numbers below 2^52 as doubles.
HWY_INLINE Real_Lanes to_real(Whole_Lanes number) {
    const auto joined = hn::Or(number, hn::Set(Whole(), bits_of_two_52));
    return hn::Sub(hn::BitCast(Real(), joined), hn::Set(Real(), two_52));
}

/// The reverse.
HWY_INLINE Whole_Lanes to_whole(Real_Lanes number) {
    const auto joined = hn::BitCast(Whole(), hn::Add(number, hn::Set(Real(), two_52)));
    return hn::Xor(joined, hn::Set(Whole(), bits_of_two_52));
}

HWY_INLINE Whole_Lanes x_of(const Event_Lanes& events) {
    return hn::And(events.position, hn::Set(Whole(), 0xFFFF'FFFF));
}

HWY_INLINE Whole_Lanes y_of(const Event_Lanes& events) {
    return hn::ShiftRight<32>(events.position);
}

/// What `Pixel_Axis` does, in doubles.
class Pixel_Lanes {
public:
    explicit Pixel_Lanes(const Pixel_Axis& axis)
        : reciprocal(hn::Set(Real(), axis.get_reciprocal())),
          nPixels(hn::Set(Real(), static_cast<double>(axis.size()))) {}

    /// Divides the signed numbers in the lower 32 bits of the lanes; not truncated.
    [[nodiscard]] HWY_INLINE Real_Lanes divide(Whole_Lanes low_halves) const {
        // Turning the sign bit of a signed number adds 2^31.
        constexpr std::uint64_t turned = bits_of_two_52 | std::uint64_t{1} << 31U;
        const auto joined = hn::Xor(low_halves, hn::Set(Whole(), turned));
        return hn::Mul(hn::Sub(hn::BitCast(Real(), joined), hn::Set(Real(), two_52 + 0x1p31)),
                       reciprocal);
    }

    [[nodiscard]] HWY_INLINE Mask contain(Real_Lanes quotient) const {
        return hn::And(hn::Gt(quotient, hn::Set(Real(), -1.0)), hn::Lt(quotient, nPixels));
    }

    /// The cell at a quotient along this axis, after so many complete rows.
    [[nodiscard]] HWY_INLINE Real_Lanes cell(Real_Lanes row, Real_Lanes quotient) const {
        return hn::MulAdd(row, nPixels, hn::Trunc(quotient));
    }

private:
    Real_Lanes reciprocal;
    Real_Lanes nPixels;
};

/// Places on a page, not truncated.
struct Grid_Places {
    Mask inside;
    Real_Lanes column;
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

struct Cell_Lanes {
    Mask inside;
    Whole_Lanes cells;
};

/// What a kind of placement does with one event, for as many as a vector has lanes.
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

}  // namespace find_cells_kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
