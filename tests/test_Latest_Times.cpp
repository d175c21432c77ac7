#include "reading/Latest_Times.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using orven::Event_Time;

constexpr std::chrono::microseconds quick(10);
constexpr Event_Time none(std::numeric_limits<long>::min());

Event_Time fail(std::size_t range) {
    throw std::out_of_range("range " + std::to_string(range));
}

TEST(Latest_Times, the_largest_of_all_ranges_before_whichever_is_told_first) {
    Latest_Times times;
    EXPECT_EQ(times.before(0, fail), none);
    times.put(2, Event_Time(-1), quick);
    times.put(0, none, quick);
    times.put(3, Event_Time(9), quick);
    times.put(1, Event_Time(-5), quick);
    times.put(4, Event_Time(4), quick);
    EXPECT_EQ(times.before(5, fail), Event_Time(9));
    EXPECT_EQ(times.before(3, fail), Event_Time(-1));
    EXPECT_EQ(times.before(1, fail), none);
    EXPECT_EQ(times.before(2, fail), Event_Time(-5));
    EXPECT_EQ(times.before(4, fail), Event_Time(9));
}

TEST(Latest_Times, what_is_late_is_looked_up_and_may_still_come) {
    Latest_Times times;
    times.put(2, Event_Time(2), quick);
    times.put(0, Event_Time(0), quick);
    std::vector<std::size_t> late;
    const auto look_up = [&](std::size_t range) {
        late.push_back(range);
        EXPECT_FALSE(times.knows(range));
        if (range == 3) {  // is told meanwhile: what the look-up has found so far means nothing
            times.put(range, Event_Time(6), quick);
            EXPECT_TRUE(times.knows(range));
            return Event_Time(100);
        }
        return Event_Time(7);
    };
    EXPECT_EQ(times.before(4, look_up), Event_Time(7));
    EXPECT_EQ(late, (std::vector<std::size_t>{1, 3}));
    times.put(1, Event_Time(7), quick);
    EXPECT_EQ(times.before(1, fail), Event_Time(0));
    EXPECT_EQ(times.before(3, fail), Event_Time(7));
    EXPECT_THROW((void)times.before(6, fail), std::out_of_range);
    times.put(4, Event_Time(0), quick);
    EXPECT_EQ(times.before(5, fail), Event_Time(7));
}

TEST(Latest_Times, what_cannot_be_looked_up_holds_nobody_up) {
    Latest_Times times;
    for (std::size_t range = 1; range <= 60; ++range) {
        EXPECT_THROW((void)times.before(range, fail), std::out_of_range);
    }
    EXPECT_EQ(times.before(1, [](std::size_t /*late*/) { return Event_Time(3); }), Event_Time(3));
}

/// A task may have lost its core while its range was read: that says nothing of the others.
TEST(Latest_Times, tasks_are_patient_where_reading_takes_long) {
    constexpr std::chrono::seconds slow(60);
    Latest_Times times;
    times.put(1, Event_Time(1), slow);
    EXPECT_THROW((void)times.before(1, fail), std::out_of_range);
    times.put(2, Event_Time(2), slow);
    const auto told_late = std::async(std::launch::async, [&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        times.put(0, Event_Time(0), slow);
    });
    EXPECT_EQ(times.before(3, fail), Event_Time(2));
}

/// Tasks take ranges in order, and some of them lose their cores before they tell of theirs.
TEST(Latest_Times, tasks_that_lose_their_cores_hold_nobody_up) {
    std::mt19937 random(1);
    std::vector<long> latest(3000);
    for (std::size_t i = 0; i < latest.size(); ++i) {
        latest[i] = static_cast<long>(i) + static_cast<long>(random() % 50);
    }
    Latest_Times times;
    std::vector<Event_Time> before(latest.size());
    std::atomic<std::size_t> next = 0;
    std::atomic<std::size_t> nLooked_up = 0;
    const auto run = [&] {
        for (std::size_t range = next++; range < latest.size(); range = next++) {
            if (range % 100 == 0) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            times.put(range, Event_Time(latest[range]), quick);
            before[range] = times.before(range, [&](std::size_t late) {
                ++nLooked_up;
                EXPECT_LT(late, range);
                return Event_Time(latest.at(late));
            });
        }
    };
    std::vector<std::future<void>> tasks;
    for (int i = 0; i < 4; ++i) {
        tasks.push_back(std::async(std::launch::async, run));
    }
    tasks.clear();
    EXPECT_GT(nLooked_up, 0U);
    Event_Time expected = none;
    for (std::size_t range = 0; range < latest.size(); ++range) {
        ASSERT_EQ(before[range], expected) << range;
        expected = std::max(expected, Event_Time(latest[range]));
    }
}

}  // namespace
