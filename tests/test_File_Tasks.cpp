#include <sys/prctl.h>

#include <random>
#include <tuple>

#include "Binning_Events.h"
#include "logging.h"
#include "recordings.h"

namespace {

const orven::Photon_Filter filter({1, 3}, {0.2, std::nullopt});
const orven::Photon_Filter no_filter({0, UINT64_MAX}, {});

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

TEST(File_Tasks, frames_are_numbered_across_files_in_order) {
    const Folder folder;
    const std::vector<std::string> files{
        folder.write("a", recording({event(0, 0, 10), event(0, 0, 21)}, {{10, 20, 30}})),
        folder.write("b", recording({event(0, 0, 5)}, {{5}})),
        folder.write("c", recording({event(0, 0, 6), event(0, 0, 9)}, {{6, 9}}))};
    const Parameters record =
        parameters_from({"-x", "1", "-t", "3.125e-9", "-T", "4", "-E", "frameSync"});
    Binning_Events_TimeResolved<Parameters::frameSync> binning(record);
    count_files_in_order(binning, files, no_filter);
    EXPECT_EQ(content(binning), (std::vector<unsigned>{1, 1, 1, 0}));
    EXPECT_EQ(binning.nTriggers, 3U);
}

TEST(File_Tasks, missing_triggers_fail_in_order_and_are_logged_by_tasks) {
    const Folder folder;
    const std::vector<std::string> files{
        folder.write("without", recording({event(0, 0, 1)})),
        folder.write("with", recording({event(0, 0, 1)}, {{0, 2}}))};
    const std::string message =
        "External trigger data requested from data set recorded without external trigger enabled!";
    const Parameters record = parameters_from({"-x", "1"});
    Binning_Events_TimeIntegrated<Parameters::reference> binning(record);
    EXPECT_EQ(
        message_of<std::invalid_argument>([&] { count_files_in_order(binning, files, no_filter); }),
        message);
    testing::internal::CaptureStderr();
    count_files_concurrently(binning, files, no_filter, 2);
    EXPECT_TRUE(testing::internal::GetCapturedStderr().ends_with(": " + message + "\n"));
    EXPECT_EQ(content(binning), std::vector<unsigned>{1});
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
