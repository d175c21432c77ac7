#include "Ranks.h"
#include "gather_failures.h"
#include "reading/Run_Account.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <numeric>
#include <stdexcept>
#include <string>

// Each rank runs these tests, all at the same time.

namespace {

const Ranks* ranks = nullptr;

/// More counters than are sent at a time.
TEST(Ranks, add_up_all_counters_modulo_2_to_32) {
    constexpr std::size_t n = (std::size_t{4} << 20U) + 3;
    std::vector<Counter> counters(n);
    for (std::size_t i = 0; i < n; ++i) {
        counters[i] = static_cast<unsigned>(i) - static_cast<unsigned>(ranks->rank());
    }
    ranks->add_up(counters);
    if (ranks->is_first()) {
        const auto size = static_cast<unsigned>(ranks->size());
        for (std::size_t i = 0; i < n; ++i) {
            ASSERT_EQ(counters[i], size * static_cast<unsigned>(i) - size * (size - 1) / 2) << i;
        }
    }
}

TEST(Ranks, gather_lists_of_any_length_in_their_order) {
    std::vector<std::uint64_t> all;
    for (std::size_t rank = 0; rank < ranks->size(); ++rank) {
        all.insert(all.end(), rank, rank);  // none of the first
    }
    EXPECT_EQ(ranks->gather(std::vector<std::uint64_t>(ranks->rank(), ranks->rank())), all);
    EXPECT_TRUE(ranks->gather(std::string()).empty());
}

TEST(gather_failures, keeps_texts_and_types_that_users_see) {
    const std::vector<std::string> texts{"", "7", " a:\n", "std::bad_alloc", "-1x2:", "0"};
    const std::string& text = texts.at(ranks->rank());
    const std::vector<File_Failure> own{
        {ranks->rank(), std::make_exception_ptr(std::invalid_argument(text))},
        {1000, std::make_exception_ptr(std::length_error(text))}};
    const std::vector<File_Failure> all = gather_failures(*ranks, own);
    ASSERT_EQ(all.size(), 2 * ranks->size());
    for (std::size_t rank = 0; rank < ranks->size(); ++rank) {
        EXPECT_EQ(all[2 * rank].file, rank);
        EXPECT_EQ(all[2 * rank + 1].file, 1000U);
        EXPECT_EQ(message_of(all[2 * rank].failure), texts.at(rank));
        EXPECT_EQ(message_of(all[2 * rank + 1].failure), texts.at(rank));
        EXPECT_THROW(std::rethrow_exception(all[2 * rank].failure), std::invalid_argument);
        EXPECT_THROW(std::rethrow_exception(all[2 * rank + 1].failure), std::length_error);
    }
}

}  // namespace

int main(int argc, char* argv[]) {
    testing::InitGoogleTest(&argc, argv);
    const Ranks all(argc, argv);
    ranks = &all;
    const int failed = RUN_ALL_TESTS();
    all.leave();
    return failed;
}
