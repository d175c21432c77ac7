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

/// What `Pixel_Axis` does.
class Pixel_Lanes {
public:
    explicit Pixel_Lanes(const Pixel_Axis& axis)
        : start(hn::Set(Real(), two_52 + 0x1p31 + axis.start())),
          first(hn::Set(Real(), axis.inside().first - axis.start())),
          last(hn::Set(Real(), axis.inside().second - axis.start())),
          reciprocal(hn::Set(Real(), axis.get_reciprocal())),
          stride(hn::Set(Real(), static_cast<double>(axis.get_stride()))) {}

    /// How far the signed numbers in the lower 32 bits of the lanes lie from the start.
    [[nodiscard]] HWY_INLINE Real_Lanes from_start(Whole_Lanes low_halves) const {
        // Turning the sign bit of a signed number adds 2^31.
        constexpr std::uint64_t turned = bits_of_two_52 | std::uint64_t{1} << 31U;
        const auto joined = hn::Xor(low_halves, hn::Set(Whole(), turned));
        return hn::Sub(hn::BitCast(Real(), joined), start);
    }

    [[nodiscard]] HWY_INLINE Mask contain(Real_Lanes from_start) const {
        return hn::And(hn::Ge(from_start, first), hn::Le(from_start, last));
    }

    [[nodiscard]] HWY_INLINE Real_Lanes pixel(Real_Lanes from_start) const {
        return hn::Trunc(hn::Mul(from_start, reciprocal));
    }

    /// How far the pixel's cells lie from those of the first, after so many others.
    [[nodiscard]] HWY_INLINE Real_Lanes cell(Real_Lanes from_start, Real_Lanes others) const {
        return hn::MulAdd(pixel(from_start), stride, others);
    }

private:
    Real_Lanes start;
    Real_Lanes first;
    Real_Lanes last;
    Real_Lanes reciprocal;
    Real_Lanes stride;
};

/// Places on a page: how far positions lie from its start.
struct Grid_Places {
    Mask inside;
    Real_Lanes x;
    Real_Lanes y;
};

class Grid_Lanes {
public:
    explicit Grid_Lanes(const Pixel_Grid& grid) : along_x(grid.x), along_y(grid.y) {}

    [[nodiscard]] HWY_INLINE Grid_Places place(const Event_Lanes& events) const {
        const auto x = along_x.from_start(x_of(events));
        const auto y = along_y.from_start(y_of(events));
        return {hn::And(along_x.contain(x), along_y.contain(y)), x, y};
    }

    /// The cell in the only page, where `x` selects the column.
    [[nodiscard]] HWY_INLINE Real_Lanes cell(const Grid_Places& places) const {
        return along_y.cell(places.y, along_x.pixel(places.x));
    }

    /// The cell in a page that begins with this one.
    [[nodiscard]] HWY_INLINE Real_Lanes cell(const Grid_Places& places, Real_Lanes first) const {
        return along_x.cell(places.x, along_y.cell(places.y, first));
    }

private:
    Pixel_Lanes along_x;
    Pixel_Lanes along_y;
};

/// The first cell of a page, as a real number; of all pages before it.
inline double cells_of(const Page_Axes& axes, std::size_t nPages) {
    return static_cast<double>(nPages * axes.get_grid().cells_per_page());
}

/// What times are subtracted from: where bin 0 of the interval starts. A sum beyond 64 bits wraps.
inline std::uint64_t start_in(const Interval& interval, const Page_Axes& axes) {
    return static_cast<std::uint64_t>(interval.open.value) +
           static_cast<std::uint64_t>(axes.time_bins().origin());
}

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
        const auto places = grid.place(events);
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
          start(hn::Set(Whole(), start_in(interval, placement.get_axes()))),
          before(hn::Set(Signed(), placement.get_axes().time_bins().inside().first - 1)),
          end(hn::Set(Signed(), placement.get_axes().time_bins().inside().second)),
          reciprocal(hn::Set(Real(), placement.get_axes().time_bins().get_reciprocal())),
          page_size(hn::Set(Real(), cells_of(placement.get_axes(), 1))) {}

    [[nodiscard]] HWY_INLINE Cell_Lanes place(const Event_Lanes& events) const {
        const auto time = hn::BitCast(Signed(), hn::Sub(events.time, start));
        const auto in_time = hn::And(hn::Gt(time, before), hn::Lt(time, end));
        const auto from_zero = hn::AndNot(hn::BroadcastSignBit(time), time);
        const auto page = hn::Trunc(hn::Mul(to_real(hn::BitCast(Whole(), from_zero)), reciprocal));
        const auto places = grid.place(events);
        return {hn::And(places.inside, hn::RebindMask(Real(), in_time)),
                to_whole(grid.cell(places, hn::Mul(page, page_size)))};
    }

private:
    Grid_Lanes grid;
    Whole_Lanes start;
    Signed_Lanes before;
    Signed_Lanes end;
    Real_Lanes reciprocal;
    Real_Lanes page_size;
};

template <>
class Placement_Lanes<Frame_Placement> {
public:
    Placement_Lanes(const Frame_Placement& placement, const Interval& interval)
        : grid(placement.get_axes().get_grid()),
          start(hn::Set(Whole(), start_in(interval, placement.get_axes()))),
          length(hn::Set(Signed(), placement.get_axes().time_bins().width())),
          first(hn::Set(Real(), cells_of(placement.get_axes(), interval.frameIndex))) {}

    [[nodiscard]] HWY_INLINE Cell_Lanes place(const Event_Lanes& events) const {
        const auto time = hn::BitCast(Signed(), hn::Sub(events.time, start));
        const auto late_or_early =
            hn::Or(hn::Lt(time, hn::Zero(Signed())), hn::Not(hn::Lt(time, length)));
        const auto places = grid.place(events);
        return {hn::AndNot(hn::RebindMask(Real(), late_or_early), places.inside),
                to_whole(grid.cell(places, first))};
    }

private:
    Grid_Lanes grid;
    Whole_Lanes start;
    Signed_Lanes length;
    Real_Lanes first;
};

}  // namespace find_cells_kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
