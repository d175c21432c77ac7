#include "Filters_Events.h"
#include "recordings.h"

#include <gtest/gtest.h>

namespace {

TEST(Filters_Events, apply_keeps_order_and_triggers) {
    const orven::Photon_Filter filter({2, 9}, {std::nullopt, 0.5});
    const std::vector<Photon_Event> events{event(0, 0, 0, 2), event(1, 0, 0, 1),
                                           event(2, 0, 0, 9, 0.6), event(3, 0, 0, 9)};
    const auto kept = filter.apply({std::vector(events), times({7, 5})});
    EXPECT_EQ(bytes_of(kept.events), bytes_of(std::vector{events[0], events[3]}));
    EXPECT_EQ(kept.extTriggers, times({7, 5}));
    EXPECT_EQ(filter.apply({{}, std::nullopt}).extTriggers, std::nullopt);
    EXPECT_EQ(filter.apply({{}, times({})}).extTriggers, times({}));
}

}  // namespace
