#include "asleep.h"
#include "binning/Binning_Events.h"
#include "failing_reads.h"
#include "reading/count_files.h"
#include "recordings.h"
#include "system/Available_Cores.h"
#include "system/Available_Memory.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <mutex>
#include <numeric>
#include <random>
#include <stdexcept>
#include <thread>
#include <tuple>

namespace {

/// What a run counts: the cells of its image, its trigger intervals, and what became of its events
/// recorded, accepted, counted, sampled, and early among these.
using Counted = std::tuple<std::vector<unsigned>, std::size_t, std::array<std::uint64_t, 5>>;

bool fails_as_a_whole(const Parameters& record) {
    return record.extTrigger_mode == Parameters::frameSync;
}

Counted counted(const Parameters& record, const Placement& placement,
                const std::vector<std::string>& files, std::size_t nTasks,
                std::size_t piece_length = events_per_piece) {
    const auto nPages = static_cast<std::size_t>(record.time_max_binNumber.value_or(1));
    Counting_Image<3> image({nPages, record.size_y, record.size_x});
    const orven::Photon_Filter filter({1, 3}, {0.2, std::nullopt});
    const Counting_Job job{record.extTrigger_mode, placement, filter, image.get_content(), 0, true};
    const auto [nIntervals, events, accounts] =
        count_files(job, files, fails_as_a_whole(record) ? On_Failure::end_run : On_Failure::log,
                    {nTasks, piece_length});
    EXPECT_EQ(accounts.size(), files.size());
    return {{image.get_content().begin(), image.get_content().end()},
            nIntervals,
            {events.recorded, events.accepted, events.counted, events.sampled, events.early}};
}

/// Files of different sizes, the largest shared by several tasks. Half of the events meet in one
/// cell and come late, some far too early; in one file triggers do not ascend.
std::vector<std::string> make_files(const Folder& folder) {
    std::mt19937 random(3);
    std::vector<std::string> files;
    for (const int nEvents : {200'000, 0, 1, 2047, 2048, 5000, 70'000}) {
        std::vector<Photon_Event> events;
        for (int i = 0; i < nEvents; ++i) {
            const long spike = i % 20'000 == 19'999 ? 100'000 : 0;
            if (random() % 2 == 0) {
                events.push_back(event(0, 0, 0, 1, 1.0));
                continue;
            }
            // One by one: the order in which arguments are worked out is the compiler's choice.
            const double psd = static_cast<double>(random() % 10) / 10;
            const std::uint64_t nPhotons = random() % 5;
            const auto y = static_cast<int>(random() % (1U << 24U));
            const auto x = static_cast<int>(random() % (1U << 24U));
            events.push_back(event(x, y, i * 7L + spike, nPhotons, psd));
        }
        std::vector<long> triggers;
        for (long tick = 100; tick < nEvents * 6L; tick += 1000) {
            triggers.push_back(tick);
        }
        if (nEvents == 5000) {
            std::swap(triggers[3], triggers[20]);
        }
        files.push_back(folder.write(std::to_string(nEvents), recording(events, triggers)));
    }
    return files;
}

void expect_equal_at_any_number_of_tasks(const Parameters& record, const Placement& placement) {
    const Folder folder;
    std::vector<std::string> files = make_files(folder);
    const Counted in_order = counted(record, placement, files, 1);
    const auto& [cells, nIntervals, events] = in_order;
    EXPECT_GT(std::ranges::count_if(cells, [](unsigned n) { return n > 0; }), 1000);
    EXPECT_EQ(events[0], 279'096U);
    EXPECT_EQ(events[1], 206'682U);
    EXPECT_EQ(events[2], std::accumulate(cells.begin(), cells.end(), std::uint64_t{0}));
    if (!fails_as_a_whole(record)) {
        files.insert(files.begin() + 1, "/no/such.orvenevent");
        files.insert(files.begin() + 3, folder.write("damaged", "ORVEN"));
    }
    struct Way {
        std::size_t nTasks;
        std::size_t piece_length;
    };
    for (const Way way : {Way{1, 2048}, Way{2, 2048}, Way{7, 1000}, Way{64, 70}}) {
        testing::internal::CaptureStderr();
        const Counted concurrent = counted(record, placement, files, way.nTasks, way.piece_length);
        const std::string log = testing::internal::GetCapturedStderr();
        EXPECT_TRUE(concurrent == in_order) << way.nTasks;
        EXPECT_EQ(std::ranges::count(log, '\n'), fails_as_a_whole(record) ? 0 : 2) << log;
    }
}

/// Small images, which tasks count apart, and such of 34 and 36 MB, which they share.
TEST(count_files, images_are_equal_at_any_number_of_tasks_and_piece_length) {
    for (const char* mode : {"ignore", "reference"}) {
        const Parameters flat = parameters_from({"-E", mode, "-x", "64"});
        expect_equal_at_any_number_of_tasks(flat, Integrated_Placement({64, 64}));
        const Parameters deep =
            parameters_from({"-E", mode, "-x", "256", "-t", "1e-6", "-T", "130"});
        expect_equal_at_any_number_of_tasks(deep,
                                            Time_Bin_Placement(page_sizes(deep), page_times(deep)));
    }
    for (const char* size : {"20", "95"}) {
        const Parameters frames =
            parameters_from({"-E", "frameSync", "-x", size, "-t", "1e-6", "-T", "1000"});
        expect_equal_at_any_number_of_tasks(
            frames, Frame_Placement(page_sizes(frames), page_times(frames)));
    }
}

TEST(count_files, files_are_read_no_further_than_intervals_and_frames_reach) {
    const Folder folder;
    std::vector<Photon_Event> events;
    for (long tick = 0; tick < 1000; ++tick) {
        events.push_back(event(0, 0, tick));
    }
    const std::vector files{folder.write("a", recording(events, {{0, 150}})),
                            folder.write("b", recording(events, {{0, 100, 350, 900}})),
                            folder.write("c", recording(events, {{0, 900}}))};
    const auto read_and_counted = [&](const Placement& placement, Parameters::ExtTrigger_Mode mode,
                                      bool keepAccount = false) {
        Counting_Image<3> image({3, 1, 1});
        const orven::Photon_Filter filter({0, 1}, {});
        const Counting_Job job{mode, placement, filter, image.get_content(), 0, keepAccount};
        const auto account = count_files(job, files, On_Failure::log, {1, 100}).events;
        const auto& cells = image.get_content();
        EXPECT_EQ(account.counted, std::accumulate(cells.begin(), cells.end(), 0U));
        return std::pair(account.recorded, account.counted);
    };
    const Integrated_Placement flat({1, 1});
    EXPECT_EQ(read_and_counted(flat, Parameters::reference),
              std::pair(200UL + 1000 + 1000, 1950UL));
    const Frame_Placement frames({1, 1, 3}, {1});
    EXPECT_EQ(read_and_counted(frames, Parameters::frameSync), std::pair(200UL + 400, 500UL));
    EXPECT_EQ(read_and_counted(frames, Parameters::frameSync, true), std::pair(3000UL, 500UL));
}

/// Counts a recording by a task that takes its second range before another has entered the first:
/// the image after each of both.
std::pair<std::vector<unsigned>, std::vector<unsigned>> counted_out_of_order(
    const std::vector<Photon_Event>& events, const std::vector<long>& triggers,
    const Placement& placement, Parameters::ExtTrigger_Mode mode, std::size_t nPages) {
    const Folder folder;
    const std::vector files{folder.write("a", recording(events, triggers))};
    constexpr Sharing sharing{2, 1000};
    std::vector<Counter> cells(nPages);
    const Counting_Job job{mode, placement, orven::Photon_Filter({1, 1}, {}), cells};
    Work_Queue queue = queue_for(job, {files}, On_Failure::end_run, sharing);
    const auto first = queue.take();
    Counting_Task(job, Cell_Counter(cells, false), sharing.piece_length).run(queue, [] {});
    const std::vector<unsigned> before(cells.begin(), cells.end());
    queue.put_back(*first);
    Counting_Task(job, Cell_Counter(cells, false), sharing.piece_length).run(queue, [] {});
    return {before, {cells.begin(), cells.end()}};
}

/// Of the second range, one event is rejected, those up to `meet` lie in frame 1, the others in
/// frame 3. The last event of the first range, at `spike`, decides which of them are late.
TEST(Counting_Task, takes_back_what_it_counted_in_too_early_an_interval) {
    constexpr long range_length = 8000;
    const Frame_Placement frames({1, 1, 4}, {1});
    struct Case {
        long spike;
        long meet;
        std::vector<unsigned> before;
        std::vector<unsigned> after;
    };
    const std::vector<Case> cases{
        {150, 2000, {0, 1999, 0, 6000}, {7999, 2000, 0, 6000}},  // none
        {250, 2000, {0, 1999, 0, 6000}, {7999, 0, 1, 6000}},
        {250, 2, {0, 1, 0, 7998}, {7999, 0, 1, 7998}},
        {350, range_length, {0, 7999, 0, 0}, {7999, 0, 0, 1}},
        {400, 2000, {0, 1999, 0, 6000}, {7999, 0, 0, 0}},  // behind the last frame nothing counts
    };
    for (const auto& [spike, meet, before, after] : cases) {
        std::vector<Photon_Event> events(2 * range_length, event(0, 0, 50));
        events[range_length - 1] = event(0, 0, spike);
        std::fill_n(events.begin() + range_length, meet, event(0, 0, 150));
        std::fill(events.begin() + range_length + meet, events.end(), event(0, 0, 350));
        events[range_length] = event(0, 0, 390, 2);
        const auto counted = counted_out_of_order(events, {0, 100, 200, 300, 400}, frames,
                                                  Parameters::frameSync, before.size());
        EXPECT_EQ(counted, std::pair(before, after)) << spike << ' ' << meet;
    }
}

/// The first range cannot be read to its end when a task has counted the second one already.
TEST(Counting_Task, a_file_that_fails_has_counted_up_to_there_and_no_further) {
    constexpr std::size_t range_length = 8000;
    const Folder folder;
    std::vector<Photon_Event> events(2 * range_length, event(0, 0, 50));
    const std::string bytes = recording(events, {{0, 100}});
    for (const bool keepAccount : {false, true}) {
        const std::vector files{folder.write("a", bytes)};
        std::vector<Counter> cells(1);
        const Counting_Job job{Parameters::reference,
                               Integrated_Placement({1, 1}),
                               orven::Photon_Filter({1, 1}, {}),
                               cells,
                               0,
                               keepAccount};
        Work_Queue queue = queue_for(job, {files}, On_Failure::leave, {2, 1000});
        const auto first = queue.take();
        Counting_Task early(job, Cell_Counter(cells, false), 1000);
        early.run(queue, [] {});
        EXPECT_EQ(cells[0], range_length);
        queue.put_back(*first);
        failing_position =
            static_cast<off_t>(bytes.size() - (events.size() - 2000) * sizeof(events[0]));
        Counting_Task late(job, Cell_Counter(cells, false), 1000);
        late.run(queue, [] {});
        failing_position = -1;
        EXPECT_EQ(cells[0], 2000U);
        Event_Account account = early.get_account();
        account += late.get_account();
        EXPECT_EQ(account.counted, 2000U);
        EXPECT_EQ(account.recorded, 2000U);
        EXPECT_NE(queue.take_files()[0].failure, nullptr);
    }
}

TEST(Counting_Task, what_cannot_be_started_is_no_failure_of_a_file) {
    const Folder folder;
    const std::vector files{folder.write("a", recording({event(0, 0)}))};
    Counting_Image<2> image({1, 1});
    const Counting_Job job{Parameters::ignore, Integrated_Placement({1, 1}),
                           orven::Photon_Filter({0, 1}, {}), image.get_content()};
    Work_Queue queue = queue_for(job, {files}, On_Failure::log, {2, 100});
    Counting_Task task(job, Cell_Counter(image.get_content(), false), 100);
    EXPECT_THROW(task.run(queue, [] { throw std::runtime_error("no thread"); }),
                 std::runtime_error);
}

TEST(count_files, each_of_many_tiny_files_is_counted_once) {
    constexpr unsigned nFiles = 20'000;
    const Folder folder;
    const std::vector<std::string> files(
        nFiles, folder.write("a", recording({event(0, 0, 5, 1, 1.0)}, {{0, 10}})));
    const Parameters record = parameters_from({"-E", "reference", "-x", "1"});
    EXPECT_EQ(counted(record, Integrated_Placement({1, 1}), files, 8),
              Counted({nFiles}, nFiles, {nFiles, nFiles, nFiles, nFiles, 0}));
}

/// A limit of the process that is lower as long as this lives.
class Lower_Limit {
public:
    Lower_Limit(decltype(RLIMIT_AS) resource_, rlim_t lower) : resource(resource_) {
        getrlimit(resource, &before);
        const rlimit limit{lower, before.rlim_max};
        setrlimit(resource, &limit);
    }
    Lower_Limit(const Lower_Limit&) = delete;
    Lower_Limit& operator=(const Lower_Limit&) = delete;
    ~Lower_Limit() { setrlimit(resource, &before); }

private:
    decltype(RLIMIT_AS) resource;
    rlimit before{};
};

std::size_t task_count_with_descriptors(rlim_t nDescriptors) {
    const Lower_Limit limit(RLIMIT_NOFILE, nDescriptors);
    return default_task_count();
}

TEST(default_task_count, there_are_no_more_tasks_than_files_may_be_open_for) {
    EXPECT_EQ(task_count_with_descriptors(1000), std::min<std::size_t>(available_cores(), 496));
    EXPECT_EQ(task_count_with_descriptors(13), std::min<std::size_t>(available_cores(), 2));
    EXPECT_EQ(task_count_with_descriptors(11), 1U);
    EXPECT_EQ(task_count_with_descriptors(5), 1U);
}

/// So many that two are on different cores, even where these are busy.
constexpr unsigned nThreads = 4;

/// Runs `work(0)`, `work(1)` and so on at the same time: what loses counts is short, so none may
/// end before all have begun.
template <class Work>
void run_all(const Work& work) {
    std::atomic<unsigned> nReady = 0;
    std::vector<std::jthread> threads;
    for (unsigned task = 0; task < nThreads; ++task) {
        threads.emplace_back([&, task] {
            for (++nReady; nReady < nThreads;) {
            }
            work(task);
        });
    }
}

TEST(Binning_Events, any_number_of_threads_may_add_single_events) {
    constexpr unsigned nEvents = 4'000'000;
    Binning_Events_TimeIntegrated<Parameters::ignore> binning(parameters_from({"-x", "1"}));
    run_all([&](std::size_t /*task*/) {
        for (unsigned i = 0; i < nEvents; ++i) {
            binning.add_singleEvent(event(0, 0), {}, 0);
        }
    });
    EXPECT_EQ(binning.get_image()[0], nThreads * nEvents);
}

/// Whether the first of several tasks counts apart from the image.
bool counts_apart(std::size_t nCells, std::size_t nTasks) {
    Counting_Image<2> image({1, nCells});
    Private_Counters(image.get_content(), nTasks, {})
        .counter_of(0)
        .count(std::vector<std::size_t>{0});
    return image[0] == 0;
}

TEST(Private_Counters, images_to_32_MiB_are_counted_apart_in_little_of_the_memory) {
    constexpr std::size_t nMost = (std::size_t{32} << 20) / sizeof(Counter);
    EXPECT_TRUE(counts_apart(nMost, 2));
    EXPECT_FALSE(counts_apart(nMost + 1, 2));
    EXPECT_FALSE(counts_apart(1, 1));
    const std::size_t nTasks = available_memory() / 16 / (std::size_t{32} << 20);
    EXPECT_FALSE(counts_apart(nMost, nTasks + 2));
    // There is room for the image, but not for the counters of two tasks.
    rlim_t nPages = 0;
    std::ifstream("/proc/self/statm") >> nPages;
    const Lower_Limit limit(RLIMIT_AS, nPages * static_cast<rlim_t>(getpagesize()) + (48U << 20U));
    EXPECT_FALSE(counts_apart(nMost, 2));
}

TEST(Cell_Counter, counts_in_a_page_while_no_other_task_does) {
    Counting_Image<2> image({1, 30});
    Page_Locks pages(10);
    std::unique_lock lock(pages.lock_of(1));
    std::promise<pid_t> thread;
    std::future<void> other = std::async(std::launch::async, [&] {
        const std::vector<std::size_t> positions{0, 0, 9, 10, 19, 19, 20};
        Cell_Counter counter(image.get_content(), true, &pages);
        thread.set_value(gettid());
        counter.count(positions);
    });
    run_until_asleep(thread.get_future().get(), other);
    const auto counts = [&] {
        return std::vector<unsigned>{image[0], image[9], image[10], image[19], image[20]};
    };
    EXPECT_EQ(counts(), (std::vector{2U, 1U, 0U, 0U, 0U}));
    EXPECT_TRUE(std::unique_lock(pages.lock_of(0), std::try_to_lock));
    lock.unlock();
    other.get();
    EXPECT_EQ(counts(), (std::vector{2U, 1U, 1U, 2U, 1U}));
}

TEST(Private_Counters, tasks_that_share_an_image_lose_no_count) {
    constexpr unsigned nTimes = 1'000'000;
    const std::vector<std::size_t> positions{0, 0, 9, 0, 10, 19, 10, 10};
    for (const std::optional<std::size_t> frame_size : {std::optional<std::size_t>(), {10}}) {
        Counting_Image<2> image({1, (std::size_t{32} << 20) / sizeof(Counter) + 1});
        Private_Counters counters(image.get_content(), nThreads, frame_size);
        run_all([&](std::size_t task) {
            Cell_Counter counter = counters.counter_of(task);
            for (unsigned i = 0; i < nTimes; ++i) {
                counter.count(positions);
            }
        });
        EXPECT_EQ(image[0], nThreads * 3 * nTimes);
        EXPECT_EQ(image[9], nThreads * nTimes);
        EXPECT_EQ(image[10], nThreads * 3 * nTimes);
        EXPECT_EQ(image[19], nThreads * nTimes);
    }
}

TEST(Private_Counters, counts_wrap_modulo_2_to_32) {
    Counting_Image<2> image({1, 2});
    image[1] = 0xFFFFFFFF;
    Private_Counters counters(image.get_content(), 2, {});
    counters.counter_of(0).count(std::vector<std::size_t>{1, 0});
    counters.counter_of(1).count(std::vector<std::size_t>{1});
    counters.merge_part(0, 2);
    counters.merge_part(1, 2);
    Cell_Counter(image.get_content(), true).count(std::vector<std::size_t>{0, 1});
    EXPECT_EQ(image[0], 2U);
    EXPECT_EQ(image[1], 2U);
}

}  // namespace
