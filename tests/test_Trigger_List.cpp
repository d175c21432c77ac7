#include "reading/Trigger_List.h"
#include "recordings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace {

/// Around the ends of the windows through which triggers are seen.
constexpr std::array<std::size_t, 8> lengths{0, 1, 2047, 2048, 2049, 4096, 4097, 20'000};

/// A file that holds these triggers.
orven::Event_File file_with(const Folder& folder, const std::vector<long>& triggers) {
    return orven::Event_File(folder.write("a", recording({}, triggers)));
}

/// Late ones are rare, so that some are windows away.
std::vector<long> random_times(std::size_t n, std::mt19937& random) {
    std::vector<long> ticks(n);
    std::ranges::generate(ticks, [&] {
        return static_cast<long>(random() % (random() % 3000 == 0 ? n : n / 2 + 1));
    });
    return ticks;
}

/// Looks everywhere, forth and back: the window must follow.
void expect_found(const orven::Event_File& file, const std::vector<long>& triggers, bool ascending,
                  std::mt19937& random) {
    Trigger_List list(file, ascending);
    EXPECT_EQ(list.size(), triggers.size());
    for (int i = 0; i < 500; ++i) {
        const std::size_t index = random() % (triggers.size() + 1);
        const long tick = static_cast<long>(random() % (triggers.size() + 2)) - 1;
        const auto later = std::find_if(triggers.begin() + static_cast<long>(index), triggers.end(),
                                        [tick](long each) { return each > tick; });
        ASSERT_EQ(list.first_after(orven::Event_Time(tick), index),
                  static_cast<std::size_t>(later - triggers.begin()));
        if (index < triggers.size()) {
            ASSERT_EQ(list.at(index).value, triggers[index]);
        }
    }
}

TEST(Trigger_List, finds_what_a_look_at_all_triggers_finds) {
    const Folder folder;
    std::mt19937 random(1);
    for (const std::size_t n : lengths) {
        std::vector<long> triggers = random_times(n, random);
        expect_found(file_with(folder, triggers), triggers, false, random);
        std::ranges::sort(triggers);
        expect_found(file_with(folder, triggers), triggers, true, random);
    }
}

TEST(Trigger_List, one_trigger_before_its_predecessor_is_seen_anywhere) {
    const Folder folder;
    std::mt19937 random(1);
    for (const std::size_t n : lengths) {
        std::vector<long> triggers = random_times(n, random);
        std::ranges::sort(triggers);
        EXPECT_TRUE(triggers_ascend(file_with(folder, triggers)));
        for (const std::size_t k : lengths) {
            if (k > 0 && k < n) {
                std::vector<long> descending = triggers;
                descending[k] = descending[k - 1] - 1;
                EXPECT_FALSE(triggers_ascend(file_with(folder, descending))) << k << " of " << n;
            }
        }
    }
}

}  // namespace
