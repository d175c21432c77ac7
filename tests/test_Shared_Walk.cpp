#include "reading/Shared_Walk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr std::chrono::microseconds quick(10);

std::size_t fail(std::size_t range) {
    throw std::out_of_range("range " + std::to_string(range));
}

TEST(Shared_Walk, the_furthest_of_all_ranges_before_whichever_is_told_first) {
    Shared_Walk walk;
    EXPECT_EQ(walk.before(0, fail), 0U);
    walk.put(2, 3, quick);
    walk.put(0, 0, quick);
    walk.put(3, 9, quick);
    walk.put(1, 1, quick);
    walk.put(4, 4, quick);
    EXPECT_EQ(walk.before(5, fail), 9U);
    EXPECT_EQ(walk.before(3, fail), 3U);
    EXPECT_EQ(walk.before(1, fail), 0U);
    EXPECT_EQ(walk.before(2, fail), 1U);
    EXPECT_EQ(walk.before(4, fail), 9U);
}

TEST(Shared_Walk, what_is_late_is_looked_up_and_may_still_come) {
    Shared_Walk walk;
    walk.put(2, 2, quick);
    walk.put(0, 0, quick);
    std::vector<std::size_t> late;
    const auto look_up = [&](std::size_t range) {
        late.push_back(range);
        EXPECT_FALSE(walk.knows(range));
        if (range == 3) {  // is told meanwhile: what the look-up has found so far means nothing
            walk.put(range, 6, quick);
            EXPECT_TRUE(walk.knows(range));
            return std::size_t{100};
        }
        return std::size_t{7};
    };
    EXPECT_EQ(walk.before(4, look_up), 7U);
    EXPECT_EQ(late, (std::vector<std::size_t>{1, 3}));
    walk.put(1, 7, quick);
    EXPECT_EQ(walk.before(1, fail), 0U);
    EXPECT_EQ(walk.before(3, fail), 7U);
    EXPECT_THROW((void)walk.before(6, fail), std::out_of_range);
    walk.put(4, 0, quick);
    EXPECT_EQ(walk.before(5, fail), 7U);
}

TEST(Shared_Walk, what_cannot_be_looked_up_holds_nobody_up) {
    Shared_Walk walk;
    for (std::size_t range = 1; range <= 60; ++range) {
        EXPECT_THROW((void)walk.before(range, fail), std::out_of_range);
    }
    EXPECT_EQ(walk.before(1, [](std::size_t /*late*/) { return std::size_t{3}; }), 3U);
}

/// A task may have lost its core while its range was read: that says nothing of the others.
TEST(Shared_Walk, tasks_are_patient_where_reading_takes_long) {
    constexpr std::chrono::seconds slow(60);
    Shared_Walk walk;
    walk.put(1, 1, slow);
    EXPECT_THROW((void)walk.before(1, fail), std::out_of_range);
    walk.put(2, 2, slow);
    const auto told_late = std::async(std::launch::async, [&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        walk.put(0, 0, slow);
    });
    EXPECT_EQ(walk.before(3, fail), 2U);
}

/// Tasks take ranges in order, and some of them lose their cores before they tell of theirs.
TEST(Shared_Walk, tasks_that_lose_their_cores_hold_nobody_up) {
    std::mt19937 random(1);
    std::vector<std::size_t> reached(3000);
    for (std::size_t i = 0; i < reached.size(); ++i) {
        reached[i] = i + random() % 50;
    }
    Shared_Walk walk;
    std::vector<std::size_t> before(reached.size());
    std::atomic<std::size_t> next = 0;
    std::atomic<std::size_t> nLooked_up = 0;
    const auto run = [&] {
        for (std::size_t range = next++; range < reached.size(); range = next++) {
            if (range % 100 == 0) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            walk.put(range, reached[range], quick);
            before[range] = walk.before(range, [&](std::size_t late) {
                ++nLooked_up;
                EXPECT_LT(late, range);
                return reached.at(late);
            });
        }
    };
    std::vector<std::future<void>> tasks;
    for (int i = 0; i < 4; ++i) {
        tasks.push_back(std::async(std::launch::async, run));
    }
    tasks.clear();
    EXPECT_GT(nLooked_up, 0U);
    std::size_t expected = 0;
    for (std::size_t range = 0; range < reached.size(); ++range) {
        ASSERT_EQ(before[range], expected) << range;
        expected = std::max(expected, reached[range]);
    }
}

}  // namespace
