// As many events as a vector has lanes, and the filter on them. Compiled once for each set of
// vector instructions: the guard turns with each.

#if defined(VEXOLAN_FILTER_LANES_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VEXOLAN_FILTER_LANES_H
#undef VEXOLAN_FILTER_LANES_H
#else
#define VEXOLAN_FILTER_LANES_H
#endif

#include "Event.h"
#include "Filters_Events.h"

#include <hwy/highway.h>

#include <cstdint>
#include <limits>

HWY_BEFORE_NAMESPACE();
namespace find_cells_kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using Whole = hn::ScalableTag<std::uint64_t>;
using Signed = hn::ScalableTag<std::int64_t>;
using Real = hn::ScalableTag<double>;
using Whole_Lanes = hn::Vec<Whole>;
using Signed_Lanes = hn::Vec<Signed>;
using Real_Lanes = hn::Vec<Real>;
using Mask = hn::Mask<Real>;

/// As many events as a vector has lanes, field by field.
struct Event_Lanes {
    Whole_Lanes position;  ///< x in the lower half, y in the upper
    Whole_Lanes time;
    Whole_Lanes nPhotons;
    Real_Lanes psd;
};
static_assert(sizeof(orven::Photon_Event) == 4 * sizeof(std::uint64_t));

HWY_INLINE Event_Lanes load(const orven::Photon_Event* events) {
    Whole_Lanes position;
    Whole_Lanes time;
    Whole_Lanes nPhotons;
    Whole_Lanes psd;
    hn::LoadInterleaved4(Whole(), reinterpret_cast<const std::uint64_t*>(events), position, time,
                         nPhotons, psd);
    return {position, time, nPhotons, hn::BitCast(Real(), psd)};
}

/// The filter, as `accepts` is for one event.
class Filter_Lanes {
public:
    explicit Filter_Lanes(const orven::Photon_Filter& filter)
        : Filter_Lanes(filter.core<orven::Photon_Filters::NPhotons_Core>(),
                       filter.core<orven::Photon_Filters::PSD_Core>()) {}

    [[nodiscard]] HWY_INLINE Mask accept(const Event_Lanes& events) const {
        // One comparison for both bounds: differences wrap.
        const auto difference = hn::BitCast(Signed(), hn::Sub(events.nPhotons, count_origin));
        const auto out_of_counts = hn::RebindMask(Real(), hn::Gt(difference, count_range));
        const auto in_psds = hn::And(hn::Ge(events.psd, psd_min), hn::Le(events.psd, psd_max));
        return hn::AndNot(out_of_counts, hn::Or(in_psds, any_psd));
    }

private:
    static constexpr double infinity = std::numeric_limits<double>::infinity();
    /// Added to unsigned numbers, it gives signed ones in the same order.
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

}  // namespace find_cells_kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
