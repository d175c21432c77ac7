#include "progress/Progress_Line.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

struct Moment {
    std::uint64_t nPages;
    std::uint64_t page_bytes;
    std::uint64_t nWritten;
    double seconds;
    std::string text;
};

const std::vector<Moment> moments{
    {40, 1000, 0, 2, "writing: page 0 of 40, 0 B/s"},
    {40, 1000, 10, 2, "writing: page 10 of 40, 5.00 kB/s, 0:06 left"},
    {40, 1000, 40, 2, "writing: page 40 of 40, 20.0 kB/s, 0:00 left"},
    {101, 1000, 1, 9.9, "writing: page 1 of 101, 101 B/s"},
    {100, 1000, 1, 9.9, "writing: page 1 of 100, 101 B/s, 16:21 left"},
    {101, 1000, 1, 36.5, "writing: page 1 of 101, 27 B/s, 60:50 left"},
    {2, 1999, 1, 2, "writing: page 1 of 2, 1.00 kB/s, 0:02 left"},
    {2, 99'960'000, 1, 1, "writing: page 1 of 2, 100 MB/s, 0:01 left"},
    {1'000'000, 4'000'000'000, 1, 10, "writing: page 1 of 1000000, 400 MB/s"},
};

TEST(Progress_Line, tells_speed_and_time_left) {
    for (const Moment& moment : moments) {
        Progress_Count nWritten;
        nWritten.add(moment.nWritten);
        const auto text = writing_progress(moment.nPages, moment.page_bytes, nWritten);
        EXPECT_EQ(text(Progress_Line::Duration(moment.seconds)), moment.text);
    }
}

}  // namespace
