#include "reading/Walk_Ledger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <optional>
#include <random>
#include <tuple>

namespace {

/// Ranges that are shown to be wrong: the first event of each, and both starts.
using Shown = std::vector<std::tuple<std::size_t, std::size_t, std::optional<std::size_t>>>;

Shown shown_by(const std::vector<Wrong_Range>& ranges) {
    Shown shown;
    for (const auto& [first, end, wrong] : ranges) {
        EXPECT_EQ(end, first + 10);
        shown.emplace_back(first, wrong.start, wrong.right_start);
    }
    return shown;
}

Shown enter(Walk_Ledger& ledger, std::size_t first, const Walked& walked) {
    return shown_by(ledger.enter(first, first + 10, walked));
}

TEST(Walk_Ledger, a_range_is_wrong_if_its_first_event_lies_before_what_others_have_reached) {
    constexpr std::size_t none = Walked::no_interval;
    Walk_Ledger ledger;
    EXPECT_EQ(enter(ledger, 20, {0, 6, 8}), Shown());
    EXPECT_EQ(enter(ledger, 30, {1, 7, 9}), Shown());
    EXPECT_EQ(enter(ledger, 40, {1, none, 1}), Shown());
    EXPECT_EQ(ledger.lower_bound(), 0U);
    EXPECT_EQ(enter(ledger, 0, {0, 0, 5}), Shown());
    EXPECT_EQ(ledger.lower_bound(), 5U);
    EXPECT_EQ(enter(ledger, 10, {2, 4, 6}), (Shown{{10, 2, 5}, {30, 1, 8}}));
    EXPECT_EQ(ledger.lower_bound(), 9U);
    EXPECT_EQ(enter(ledger, 50, {9, 9, 9}), Shown());
}

TEST(Walk_Ledger, nothing_counts_that_lies_behind_an_event_that_cannot_be_read) {
    Walk_Ledger ledger;
    EXPECT_EQ(enter(ledger, 20, {1, 1, 1}), Shown());
    EXPECT_EQ(enter(ledger, 40, {1, 2, 2}), Shown());
    EXPECT_EQ(shown_by(ledger.fail(20)), (Shown{{20, 1, {}}, {40, 1, {}}}));
    EXPECT_EQ(enter(ledger, 30, {1, 5, 5}), (Shown{{30, 1, {}}}));
    EXPECT_EQ(enter(ledger, 10, {0, 1, 1}), Shown());
    EXPECT_EQ(enter(ledger, 0, {0, 3, 3}), (Shown{{10, 0, 3}}));
    EXPECT_EQ(shown_by(ledger.fail(30)), Shown());
    EXPECT_EQ(enter(ledger, 20, {3, 3, 3}), (Shown{{20, 3, {}}}));
}

/// Each range of random events is walked from 0, and entered in random order. With those corrected
/// that are shown to be wrong, the first event of each lies where one walk over all would have it.
TEST(Walk_Ledger, all_ranges_end_up_as_one_walk_has_them_whatever_the_order) {
    std::mt19937 random(1);
    for (int round = 0; round < 200; ++round) {
        std::vector<std::size_t> own(30);  // the interval of the only event of each range
        for (std::size_t i = 0; i < own.size(); ++i) {
            own[i] = i + random() % 6;
        }
        std::vector<std::size_t> order(own.size());
        std::iota(order.begin(), order.end(), 0);
        std::shuffle(order.begin(), order.end(), random);
        Walk_Ledger ledger;
        std::vector<std::size_t> placed = own;
        for (const std::size_t i : order) {
            const std::size_t start = std::min(ledger.lower_bound(), own[i]);
            for (const auto& [first, wrong_start, right_start] :
                 enter(ledger, 10 * i, {start, own[i], own[i]})) {
                placed[first / 10] = *right_start;
            }
        }
        std::vector<std::size_t> expected(own.size());
        std::partial_sum(own.begin(), own.end(), expected.begin(),
                         [](auto a, auto b) { return std::max(a, b); });
        ASSERT_EQ(placed, expected);
    }
}

}  // namespace
