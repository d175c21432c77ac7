#include "asleep.h"
#include "failing_reads.h"
#include "reading/Trigger_List.h"
#include "reading/Work_Queue.h"
#include "recordings.h"

#include <gtest/gtest.h>

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <future>
#include <iterator>
#include <utility>

namespace {

/// What a test does when the next file is opened, before its first bytes are read.
std::function<void()> while_opening;

}  // namespace

/// Stands in for the C library's.
extern "C" ssize_t pread(int descriptor, void* bytes, std::size_t count, off_t position) {
    if (while_opening) {
        std::exchange(while_opening, nullptr)();
    }
    if (position == failing_position) {
        errno = EIO;
        return -1;
    }
    return syscall(SYS_pread64, descriptor, bytes, count, position);
}

namespace {

std::string record(const Folder& folder, const std::string& name, std::size_t nEvents) {
    return folder.write(name, recording(std::vector<Photon_Event>(nEvents, event(1, 2))));
}

std::exception_ptr failure(const char* message) {
    return std::make_exception_ptr(std::invalid_argument(message));
}

constexpr Sharing sharing{2, 100};
constexpr std::size_t range_length = 800;  // eight pieces

void see_nothing(Input& /*input*/) {}

void look_at_triggers(Input& input) {
    input.shared = triggers_ascend(input.file);
}

/// The file and the first event of the next range, {-1, 0} if there is none.
std::pair<long, std::size_t> take_from(Work_Queue& queue) {
    const auto range = queue.take();
    return range ? std::pair(static_cast<long>(range->input->index), range->first)
                 : std::pair(-1L, std::size_t{0});
}

const std::pair<long, std::size_t> nothing{-1, 0};

TEST(Work_Queue, the_rest_of_a_file_that_failed_is_not_handed_out) {
    const Folder folder;
    const std::string path = record(folder, "a", 2 * range_length + 1);
    const std::vector paths{path, path};
    Work_Queue queue({paths}, see_nothing, On_Failure::log, sharing);
    EXPECT_EQ(take_from(queue), std::pair(0L, std::size_t{0}));
    testing::internal::CaptureStderr();
    queue.fail(0, failure("first"));
    queue.fail(0, failure("second"));
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find(": first\n"), std::string::npos) << log;
    EXPECT_EQ(log.find("second"), std::string::npos) << log;
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(take_from(queue), std::pair(1L, i * range_length));
    }
    EXPECT_EQ(take_from(queue), nothing);
}

TEST(Work_Queue, nothing_more_is_handed_out_of_a_file_that_is_done_and_after_a_stop) {
    const Folder folder;
    const std::string path = record(folder, "a", 2 * range_length);
    const std::vector paths{path, path, path};
    Work_Queue queue({paths}, see_nothing, On_Failure::log, sharing);
    EXPECT_EQ(take_from(queue), std::pair(0L, std::size_t{0}));
    queue.finish(0);
    EXPECT_EQ(take_from(queue), std::pair(1L, std::size_t{0}));
    queue.stop();
    EXPECT_EQ(take_from(queue), nothing);
    Work_Queue stopped({paths}, see_nothing, On_Failure::log, sharing);
    while_opening = [&] { stopped.stop(); };
    EXPECT_EQ(take_from(stopped), nothing);
}

TEST(Work_Queue, what_is_put_back_comes_first_unless_its_file_ends_the_run) {
    const Folder folder;
    const std::string path = record(folder, "a", 2 * range_length);
    const std::vector paths{path, path};
    for (const On_Failure onFailure : {On_Failure::leave, On_Failure::end_run}) {
        Work_Queue queue({paths}, see_nothing, onFailure, sharing);
        const auto first = queue.take();
        (void)queue.take();
        const auto third = queue.take();
        queue.put_back({first->input, 3, 4, Wrong_Walk{0, 1}});
        queue.fail(1, failure("late"));
        queue.put_back({third->input, 5, 6, Wrong_Walk{0, 2}});
        queue.finish(0);
        EXPECT_EQ(take_from(queue), std::pair(0L, std::size_t{3}));
        if (onFailure == On_Failure::leave) {
            EXPECT_EQ(queue.take()->wrong->right_start, 2U);
        }
        EXPECT_EQ(take_from(queue), nothing);
        queue.put_back(*first);
        queue.stop();
        EXPECT_EQ(take_from(queue), nothing);
    }
}

TEST(Work_Queue, a_run_ends_with_the_first_file_in_the_list_that_fails) {
    const Folder folder;
    const std::string path = record(folder, "a", 1);
    const std::string damaged = folder.write("b", "ORVEN");
    const std::vector paths{path, path, damaged, path};
    Work_Queue queue({paths}, see_nothing, On_Failure::end_run, sharing);
    const auto message = [&] { return message_of([&] { queue.rethrow_failure(); }); };
    EXPECT_EQ(take_from(queue), std::pair(0L, std::size_t{0}));
    EXPECT_EQ(take_from(queue), std::pair(1L, std::size_t{0}));
    EXPECT_EQ(message(), "");
    EXPECT_EQ(take_from(queue), nothing);
    EXPECT_EQ(message(), "Read Error!");
    queue.fail(0, failure("of the first"));
    queue.fail(1, failure("of the second"));
    EXPECT_EQ(message(), "of the first");
    const auto no_memory = std::make_exception_ptr(std::bad_alloc());
    EXPECT_EQ(message_of([&] { queue.fail(0, no_memory); }), "std::bad_alloc");
}

/// Lets another task ask for a range while the next file is being opened, until it has one or
/// waits.
void ask_while_opening(Work_Queue& queue, std::future<long>& helper) {
    while_opening = [&] {
        std::promise<pid_t> thread;
        helper = std::async(std::launch::async, [&] {
            thread.set_value(gettid());
            return take_from(queue).first;
        });
        run_until_asleep(thread.get_future().get(), helper);
    };
}

/// The file of which a task gets a range that asks for one while another task opens the file.
long helped_file(const std::vector<std::string>& paths,
                 std::optional<std::size_t> firstFrame = {}) {
    Work_Queue queue({paths}, see_nothing, On_Failure::log, sharing, firstFrame);
    std::future<long> helper;
    ask_while_opening(queue, helper);
    (void)take_from(queue);
    return helper.get();
}

TEST(Work_Queue, a_task_waits_for_a_file_that_it_can_help_with) {
    const Folder folder;
    const std::string file = record(folder, "a", range_length + 1);
    EXPECT_EQ(helped_file({file}), 0);
    EXPECT_EQ(helped_file({file, record(folder, "b", 1)}), 1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(helped_file({folder.write("c", "ORVEN")}), -1);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("Read Error!"), std::string::npos);
}

TEST(Work_Queue, files_that_fail_at_the_same_time_do_not_wait_for_each_other) {
    const Folder folder;
    const std::string damaged = folder.write("a", "ORVEN");
    testing::internal::CaptureStderr();
    EXPECT_EQ(helped_file({damaged, damaged}, 0), -1);
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::ranges::count(log, '\n'), 2) << log;
}

std::string with_triggers(const Folder& folder, const char* name,
                          const std::vector<long>& triggers) {
    return folder.write(name, recording(std::vector<Photon_Event>(250, event(1, 2)), triggers));
}

TEST(Work_Queue, frames_are_numbered_in_list_order_whichever_file_is_opened_first) {
    const Folder folder;
    const std::vector<std::string> paths{
        with_triggers(folder, "a", {1, 2, 2, 5}), with_triggers(folder, "b", {1, 3, 2}),
        with_triggers(folder, "c", {}), with_triggers(folder, "d", {1, 2})};
    Work_Queue queue({paths}, look_at_triggers, On_Failure::end_run, {2, 10}, 7);
    const auto open_files = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    const auto nBefore = open_files();
    std::future<long> helper;
    ask_while_opening(queue, helper);
    const auto first = queue.take();
    EXPECT_EQ(first->input->index, 0U);
    EXPECT_EQ(open_files() - nBefore, 2);  // no more than there are tasks
    (void)helper.get();
    std::vector<std::size_t> ends;
    std::vector<std::size_t> frames{first->input->firstFrame};
    while (const auto range = queue.take()) {
        ends.push_back(range->end);
        frames.push_back(range->input->firstFrame);
    }
    std::ranges::sort(frames);
    // One range has the helper. The triggers of the second file do not ascend: it is one range.
    EXPECT_EQ(ends,
              (std::vector<std::size_t>{240, 250, 250, 80, 160, 240, 250, 80, 160, 240, 250}));
    EXPECT_EQ(frames, (std::vector<std::size_t>{7, 7, 7, 10, 12, 12, 12, 12, 12, 12, 12, 12}));
}

}  // namespace
