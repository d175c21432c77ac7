#include "system/run_concurrently.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <stdexcept>
#include <vector>

namespace {

using Signal = std::function<void()>;

TEST(run_concurrently, starts_no_task_where_the_one_before_finds_no_work) {
    const auto find_nothing = [](std::size_t /*task*/, const Signal& /*found_work*/) {};
    EXPECT_EQ(run_concurrently(64, find_nothing, [] {}), 1U);
}

TEST(run_concurrently, the_first_task_starts_a_second_however_soon_it_finds_work) {
    const auto find_work = [](std::size_t /*task*/, const Signal& found_work) { found_work(); };
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(run_concurrently(2, find_work, [] {}), 2U);
    }
}

TEST(run_concurrently, starts_all_tasks_where_work_remains_even_without_a_core_for_each) {
    constexpr std::size_t nTasks = 8;
    std::vector<std::atomic<bool>> ran(nTasks);
    std::atomic<bool> done = false;
    const auto work = [&](std::size_t i, const Signal& found_work) {
        EXPECT_FALSE(ran[i].exchange(true));
        done = done || i + 1 == nTasks;
        while (!done) {
            found_work();
        }
    };
    EXPECT_EQ(run_concurrently(nTasks, work, [] {}), nTasks);
}

TEST(run_concurrently, a_task_that_fails_stops_the_others) {
    std::atomic<bool> stopped = false;
    const auto work = [&](std::size_t i, const Signal& found_work) {
        found_work();
        if (i == 2) {
            throw std::runtime_error("third");
        }
        while (!stopped) {
            found_work();
        }
    };
    EXPECT_THROW(run_concurrently(64, work, [&] { stopped = true; }), std::runtime_error);
    EXPECT_TRUE(stopped);
}

}  // namespace
