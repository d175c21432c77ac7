#pragma once

#include "Survey.h"
#include "Survey_Task.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

/// Hands out ranges of events in list order, opening each file once, and collects what is found of
/// them.
/// Threads: any number may call `take`, `add`, `fail` and `stop`.
class Survey_Queue {
public:
    /// Of `files_`, those without a fault are looked at, and told of there. They must outlive this
    /// object.
    explicit Survey_Queue(std::vector<File_Survey>& files_);

    /// The next range; empty when all are taken. A file that cannot be opened gets its fault.
    /// Throws: std::bad_alloc.
    [[nodiscard]] std::optional<Survey_Range> take();

    /// Adds what was found of a range.
    void add(const Survey_Range& range, const Range_Survey& found);

    /// Tells that a range could not be read: nothing more of its file is handed out. The other
    /// files go on, so that one more look is enough, however many fail.
    void fail(const Survey_Range& range, const std::exception& failure);

    /// Hands out nothing any more.
    void stop();

    // Call these when no task runs any more.

    /// Whether a file has failed after some of its events had been counted.
    [[nodiscard]] bool failed_late() const noexcept { return failedLate; }

    /// Writes the sums of all files.
    void sum_up(Survey& survey) const;

private:
    /// What is found of one file while ranges of it are at work.
    struct In_Work {
        std::vector<std::pair<std::size_t, Time_Order>> orders;  ///< by the range's first event
        Event_Summary events;
        Log_Histogram photon_counts;
        Log_Histogram psd_counts;
    };

    void open(std::size_t index);
    void finish(std::size_t index);

    std::vector<File_Survey>& files;
    std::mutex mutex;
    std::shared_ptr<const Surveyed_File> current;
    std::size_t next_file = 0;
    std::size_t next_event = 0;
    std::vector<std::unique_ptr<In_Work>> inWork;  ///< by file
    std::optional<int> since_shift;
    bool failedLate = false;
    Summary total;
    Value_Sample periods;
    Log_Histogram photon_counts;
    Log_Histogram psd_counts;
};
