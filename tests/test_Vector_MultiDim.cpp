#include "analysis/Vector_MultiDim.h"
#include "counting/Counting_Image.h"
#include "recordings.h"

#include <gtest/gtest.h>

namespace {

TEST(Vector_MultiDim, is_row_major_and_starts_at_zero) {
    orven::Vector_MultiDim<int, 3> array({2, 3, 4});
    EXPECT_EQ((array.calc_linIndex_from_indices<true>({1, 2, 3})), 23U);
    EXPECT_EQ(array.get_content(), std::vector<int>(24, 0));
    array[{1, 0, 2}] = 5;
    EXPECT_EQ(array[14], 5);
    EXPECT_EQ(array.at({1, 0, 2}), 5);
    for (const auto& outside : {std::array<std::size_t, 3>{2, 0, 0}, {0, 3, 0}, {0, 0, 4}}) {
        EXPECT_EQ(message_of<std::invalid_argument>([&] { (void)array.at(outside); }),
                  "Index out of bounds!");
    }
}

TEST(Vector_MultiDimDeathTest, assertions_are_active_in_every_build) {
    const orven::Vector_MultiDim<int, 2> array({2, 3});
    EXPECT_DEATH((void)array.calc_linIndex_from_indices<true>({2, 0}),
                 "linIndex < content.size\\(\\)");
}

TEST(Counting_Image, starts_at_zero_in_reused_memory_too) {
    for (int round = 0; round < 2; ++round) {
        Counting_Image<2> image({1024, 1024});
        for (Counter& cell : image.get_content()) {
            ASSERT_EQ(cell.fetch_add(1), 0U);
        }
    }
}

}  // namespace
