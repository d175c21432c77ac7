#pragma once

#include "Event.h"
#include "Filters_Events.h"
#include "binning/Interval.h"
#include "binning/Placement.h"
#include "counting/Cell_Counter.h"
#include "counting/Counting_Image.h"
#include "counting/Run_Account.h"
#include "reading/Work_Queue.h"
#include "settings/Parameters.h"

#include <cstddef>
#include <memory>
#include <span>

/// How many events are read, filtered and placed at a time: few enough to stay in a core's cache.
inline constexpr std::size_t events_per_piece = 2048;

/// What a run counts, and where: the same for all of its tasks.
struct Counting_Job {
    Parameters::ExtTrigger_Mode mode;
    Placement placement;
    orven::Photon_Filter filter;
    std::span<Counter> cells;    ///< of the image, in storage order
    std::size_t firstFrame = 0;  ///< number of the first trigger interval
    bool keepAccount = false;    ///< whether to look at events that cannot be counted any more
};

/// Takes ranges of events from a queue: reads them piece by piece, filters, places and counts them.
/// All memory is made at construction and used again for each piece, so it does not grow with the
/// files.
/// Threads: one object per task.
class Counting_Task {
public:
    /// `piece_length_` is at least 1; images do not depend on it.
    /// Throws: std::bad_alloc.
    Counting_Task(const Counting_Job& job_, Image_Use use,
                  std::size_t piece_length_ = events_per_piece);

    /// Works until the queue is empty.
    /// Throws: only what goes wrong outside of a file, such as std::bad_alloc while logging.
    void run(Work_Queue& queue);

    /// Adds what the task counted apart to the image; call when no task runs any more.
    void merge() noexcept { counter.merge(); }

    /// The number of trigger intervals of the files that this task has walked to their ends.
    [[nodiscard]] std::size_t get_nIntervals() const noexcept { return nIntervals; }

    /// What became of the events of this task; complete only if the job wants an account.
    [[nodiscard]] const Event_Account& get_account() const noexcept { return account; }

private:
    void add(const Event_Range& range);
    void add_events(const Event_Range& range);
    void add_intervals(const Event_Range& range);
    std::span<const orven::Photon_Event> read_piece(const Event_Range& range, std::size_t first);
    void find(std::span<const orven::Photon_Event> events, const Interval& interval) noexcept;
    void count_found() noexcept;

    Counting_Job job;
    Cell_Counter counter;
    std::size_t piece_length;
    std::unique_ptr<orven::Photon_Event[]> piece;
    std::unique_ptr<std::size_t[]> found;  ///< cells of the piece's events
    std::size_t nFound = 0;
    std::size_t nIntervals = 0;
    Event_Account account;
};
