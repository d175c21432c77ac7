#include "Binning_Events.h"
#include "logging.h"
#include "recordings.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <random>
#include <tuple>

namespace {

const orven::Photon_Filter filter({1, 3}, {0.2, std::nullopt});

/// Files of different sizes, the largest shared by several tasks; one is damaged, one is missing.
std::vector<std::string> make_files(const Folder& folder) {
    std::mt19937 random(3);
    std::vector<std::string> files;
    for (const int nEvents : {200'000, 0, 1, 2047, 2048, 5000, 70'000}) {
        std::vector<Photon_Event> events;
        for (int i = 0; i < nEvents; ++i) {
            const auto position = [&] { return static_cast<int>(random() % (1U << 24U)); };
            events.push_back(event(position(), position(), i * 7L, random() % 5,
                                   static_cast<double>(random() % 10) / 10));
        }
        std::vector<long> triggers;
        for (long tick = 100; tick < nEvents * 6L; tick += 1000) {
            triggers.push_back(tick);
        }
        files.push_back(folder.write(std::to_string(nEvents), recording(events, triggers)));
    }
    return files;
}

std::vector<unsigned> content(auto& binning) {
    const std::span<Counter> cells = binning.counters();
    return {cells.begin(), cells.end()};
}

template <class Binning>
void expect_equal_at_any_number_of_tasks(const Parameters& record) {
    const Folder folder;
    std::vector<std::string> files = make_files(folder);
    Binning in_order(record);
    count_files_in_order(in_order, files, filter);
    const std::vector<unsigned> expected = content(in_order);
    EXPECT_NE(expected, std::vector<unsigned>(expected.size(), 0));

    files.insert(files.begin() + 1, "/no/such.orvenevent");
    files.insert(files.begin() + 3, folder.write("damaged", "ORVEN"));
    for (const auto& [nTasks, piece_length, huge_pages] :
         {std::tuple<std::size_t, std::size_t, bool>{1, 2048, true},
          {2, 2048, false},
          {3, 1000, true},
          {16, 7, true}}) {
        prctl(PR_SET_THP_DISABLE, huge_pages ? 0 : 1, 0, 0, 0);
        Binning concurrent(record);
        testing::internal::CaptureStderr();
        count_files_concurrently(concurrent, files, filter, nTasks, piece_length);
        const std::string log = testing::internal::GetCapturedStderr();
        EXPECT_EQ(content(concurrent), expected) << nTasks;
        EXPECT_EQ(concurrent.nTriggers, in_order.nTriggers);
        EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 2) << log;
    }
}

TEST(File_Tasks, small_images_are_equal_at_any_number_of_tasks_and_piece_size) {
    const Parameters record = parameters_from({"-x", "64"});
    expect_equal_at_any_number_of_tasks<Binning_Events_TimeIntegrated<Parameters::ignore>>(record);
    expect_equal_at_any_number_of_tasks<Binning_Events_TimeIntegrated<Parameters::reference>>(
        record);
}

TEST(File_Tasks, large_images_are_equal_at_any_number_of_tasks_and_piece_size) {
    const Parameters record = parameters_from({"-x", "200", "-t", "1e-6", "-T", "50"});
    expect_equal_at_any_number_of_tasks<Binning_Events_TimeResolved<Parameters::ignore>>(record);
    expect_equal_at_any_number_of_tasks<Binning_Events_TimeResolved<Parameters::reference>>(record);
}

TEST(Cell_Counter, counts_wrap_modulo_2_to_32) {
    Counting_Image<2> image({1, 2});
    image[1] = 0xFFFFFFFF;
    Cell_List list;
    list.size = 3;
    list.cells[0] = list.cells[1] = 1;
    list.cells[2] = 0;
    Cell_Counter shared(image.get_content(), Image_Use::shared);
    shared.count(list);
    shared.merge();
    Cell_Counter(image.get_content(), Image_Use::alone).count(list);
    EXPECT_EQ(image[0], 2U);
    EXPECT_EQ(image[1], 3U);
}

}  // namespace
