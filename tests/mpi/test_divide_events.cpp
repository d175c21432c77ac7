#include "divide_events.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using Parts = std::vector<std::vector<File_Part>>;

Parts divided(const std::vector<File_Share>& files, std::size_t n, std::size_t piece_length) {
    Parts parts;
    for (std::size_t part = 0; part < n; ++part) {
        parts.push_back(divide_events(files, part, n, piece_length));
    }
    return parts;
}

struct Division {
    std::vector<File_Share> files;
    std::size_t n;
    Parts parts;
};

TEST(divide_events, cuts_files_at_the_nearest_piece) {
    const std::vector<Division> divisions{
        {{}, 2, {{}, {}}},                       // no files
        {{{0, true}, {0, false}}, 2, {{}, {}}},  // no events
        {{{40, true}}, 2, {{{0, 0, 20}}, {{0, 20, 40}}}},
        {{{48, true}}, 2, {{{0, 0, 20}}, {{0, 20, 48}}}},
        {{{52, true}}, 2, {{{0, 0, 30}}, {{0, 30, 52}}}},
        {{{7, true}}, 3, {{}, {}, {{0, 0, 7}}}},  // more ranks than pieces
        {{{15, true}}, 3, {{{0, 0, 10}}, {}, {{0, 10, 15}}}},
        {{{30, true}, {0, true}, {30, true}}, 2, {{{0, 0, 30}}, {{2, 0, 30}}}},
        {{{20, true}, {0, true}, {60, true}}, 2, {{{0, 0, 20}, {2, 0, 20}}, {{2, 20, 60}}}},
        {{{40, false}}, 3, {{}, {{0, 0, 40}}, {}}},  // one rank has all of it
        {{{20, true}, {40, false}}, 2, {{{0, 0, 20}}, {{1, 0, 40}}}},
        {{{40, false}, {20, true}}, 2, {{{0, 0, 40}}, {{1, 0, 20}}}},
        {{{5, true}, {5, true}, {5, true}, {5, true}},  // many small files
         2,
         {{{0, 0, 5}, {1, 0, 5}}, {{2, 0, 5}, {3, 0, 5}}}},
    };
    for (std::size_t i = 0; i < divisions.size(); ++i) {
        const auto& [files, n, parts] = divisions[i];
        EXPECT_EQ(divided(files, n, 10), parts) << i;
    }
}

/// All parts together must be all events in list order, whatever the files.
TEST(divide_events, each_event_is_in_one_part_and_parts_are_about_equal) {
    std::mt19937 random(1);
    for (int round = 0; round < 2000; ++round) {
        const std::size_t piece_length = 1 + random() % 20;
        std::vector<File_Share> files(random() % 6);
        std::size_t nEvents = 0;
        for (File_Share& file : files) {
            file = {random() % 3 == 0 ? 0 : random() % 200, random() % 4 != 0};
            nEvents += file.nEvents;
        }
        const std::size_t n = 1 + random() % 8;
        std::vector<std::size_t> nDivided(files.size());
        std::size_t last_file = 0;
        for (const std::vector<File_Part>& part : divided(files, n, piece_length)) {
            std::size_t size = 0;
            for (const auto& [file, first, end] : part) {
                ASSERT_LE(last_file, file);
                ASSERT_EQ(first, nDivided[file]);
                ASSERT_LT(first, end);
                const bool whole = first == 0 && end == files[file].nEvents;
                ASSERT_TRUE(whole || files[file].divisible);
                ASSERT_TRUE(end == files[file].nEvents || end % piece_length == 0);
                nDivided[file] = end;
                last_file = file;
                size += files[file].divisible ? end - first : 0;
            }
            ASSERT_LE(size, nEvents / n + piece_length + 1);
        }
        for (std::size_t file = 0; file < files.size(); ++file) {
            ASSERT_EQ(nDivided[file], files[file].nEvents);
        }
    }
}

/// As many events as no files hold: nothing may overflow on the way.
TEST(divide_events, divides_any_number_of_events) {
    constexpr std::size_t most = std::size_t{1} << 62U;
    EXPECT_EQ(divided({{most, true}}, 4, 8192), (Parts{{{0, 0, most / 4}},
                                                       {{0, most / 4, most / 2}},
                                                       {{0, most / 2, most / 4 * 3}},
                                                       {{0, most / 4 * 3, most}}}));
}

}  // namespace
