#include "binning/Bin_Axis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <vector>

namespace {

TEST(Pixel_Axis, divides_exactly_at_every_border) {
    constexpr int int_min = std::numeric_limits<int>::min();
    constexpr int int_max = std::numeric_limits<int>::max();
    std::mt19937 random(1);
    std::vector<int> widths{1, 2, 3, 5, 7, 32768, 5592405, 65535, 65536, 65537, 16777216, int_max};
    for (int i = 0; i < 2000; ++i) {
        widths.push_back(static_cast<int>(random() >> (1 + i % 30)) + 1);
    }
    for (const int width : widths) {
        const Pixel_Axis axis(width, 1U << 30U);
        std::vector<int> values{int_min, int_min + 1, -1, 0, 1, int_max - 1, int_max};
        for (int i = 0; i < 50; ++i) {
            const auto nBorders = static_cast<unsigned>(int_max / width) + 1;
            const long border = static_cast<long>(random() % nBorders) * width;
            for (const long value : {border - 1, border, border + 1, -border, -border - 1}) {
                values.push_back(static_cast<int>(std::clamp<long>(value, int_min, int_max)));
            }
        }
        for (const int value : values) {
            ASSERT_EQ(static_cast<int>(axis.pixel_at(value)), value / width)
                << value << '/' << width;
        }
    }
}

}  // namespace
