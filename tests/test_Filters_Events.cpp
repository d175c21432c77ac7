#include "Filters_Events.h"
#include "recordings.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

constexpr std::uint64_t no_limit = std::numeric_limits<std::uint64_t>::max();
constexpr double infinity = std::numeric_limits<double>::infinity();

struct Filter_Case {
    const char* name;
    orven::Photon_Filters::NPhotons_Core nPhotons;
    orven::Photon_Filters::PSD_Core psd;
    std::vector<std::size_t> kept;

    friend void PrintTo(const Filter_Case& instance, std::ostream* out) { *out << instance.name; }
};

class Filter_Cases : public testing::TestWithParam<Filter_Case> {};

TEST_P(Filter_Cases, keep_events_within_inclusive_bounds_in_order) {
    const std::vector<Photon_Event> events{event(0, 0, 0, 2, 0.25), event(1, 0, 0, 3, 0.5),
                                           event(2, 0, 0, 4, 0.75), event(3, 0, 0, no_limit, NAN),
                                           event(4, 0, 0, 0, -infinity)};
    const orven::Photon_Filter filter(GetParam().nPhotons, GetParam().psd);
    const auto filtered = filter.apply({std::vector(events), times({7})});
    std::vector<std::size_t> kept;
    for (const Photon_Event& each : filtered.events) {
        kept.push_back(static_cast<std::size_t>(each.x.value));
    }
    EXPECT_EQ(kept, GetParam().kept);
    EXPECT_EQ(filtered.extTriggers, times({7}));
}

INSTANTIATE_TEST_SUITE_P(
    Filters_Events, Filter_Cases,
    testing::Values(
        Filter_Case{"all_pass_without_bounds", {0, no_limit}, {}, {0, 1, 2, 3, 4}},
        Filter_Case{"equal_counts_pass", {2, 3}, {}, {0, 1}},
        Filter_Case{"count_with_high_bit_is_large", {4, no_limit}, {}, {2, 3}},
        Filter_Case{"none_pass_if_min_exceeds_max", {3, 2}, {}, {}},
        Filter_Case{"none_pass_if_min_far_exceeds_max", {no_limit, 0}, {}, {}},
        Filter_Case{"equal_psd_passes", {0, no_limit}, {0.25, 0.5}, {0, 1}},
        Filter_Case{"nan_fails_a_lower_bound", {0, no_limit}, {-infinity, {}}, {0, 1, 2, 4}},
        Filter_Case{"nan_fails_an_upper_bound", {0, no_limit}, {{}, infinity}, {0, 1, 2, 4}},
        Filter_Case{"nan_bound_passes_nothing", {0, no_limit}, {NAN, {}}, {}},
        Filter_Case{"both_cores_must_accept", {3, 4}, {0.6, {}}, {2}}),
    [](const auto& instance) { return instance.param.name; });

TEST(Filters_Events, triggers_stay_absent_or_empty) {
    const orven::Photon_Filter filter({0, no_limit}, {});
    EXPECT_EQ(filter.apply({{}, std::nullopt}).extTriggers, std::nullopt);
    EXPECT_EQ(filter.apply({{}, times({})}).extTriggers, times({}));
}

}  // namespace
