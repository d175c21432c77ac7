#pragma once

#include "Event.h"
#include "Filters_Events.h"
#include "binning/Interval.h"
#include "binning/Placement.h"
#include "binning/find_cells.h"
#include "counting/Cell_Counter.h"
#include "counting/Counting_Image.h"
#include "progress/Progress_Count.h"
#include "reading/Run_Account.h"
#include "reading/Trigger_Walk.h"
#include "reading/Walk_Ledger.h"
#include "reading/Work_Queue.h"
#include "settings/Image_Settings.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>

/// How many events are read, filtered and placed at a time: few enough to stay in a core's cache.
inline constexpr std::size_t events_per_piece = 8192;

/// What a run counts, and where: the same for all of its tasks.
struct Counting_Job {
    Image_Settings::ExtTrigger_Mode mode;
    Placement placement;
    orven::Photon_Filter filter;
    std::span<Counter> cells;         ///< of the image, in storage order
    std::size_t firstFrame = 0;       ///< number of the first trigger interval
    bool keepAccount = false;         ///< whether to look at events that cannot be counted any more
    Progress_Count* nRead = nullptr;  ///< where events that have been read are counted, if wanted
};

/// Takes ranges of events from a queue: reads them piece by piece, filters, places and counts them.
/// All memory is made at construction and used again for each piece, so it does not grow with the
/// files.
/// Threads: one object per task.
class Counting_Task {
public:
    /// Throws: std::bad_alloc.
    Counting_Task(const Counting_Job& job_, Cell_Counter counter_, std::size_t piece_length_);

    /// Works until the queue is empty, and calls `found_work` for each range.
    /// Throws: what `found_work` throws, Cancelled, and else only what goes wrong outside of a
    /// file, such as std::bad_alloc.
    void run(Work_Queue& queue, const std::function<void()>& found_work);

    /// What became of the events of this task; complete only if the job wants an account.
    [[nodiscard]] const Event_Account& get_account() const noexcept { return account; }

private:
    /// What was counted of a range, up to the event `end`.
    struct Walked_Part {
        Walked walked;
        std::size_t end;
    };

    void add_events(const Event_Range& range);
    void add_intervals(const Event_Range& range, Work_Queue& queue);
    /// Walks from a lower bound of the interval in which the range begins.
    void walk_along(const Event_Range& range, Walked_Part& part);
    /// Takes back what was counted along a walk from too early an interval, and counts it from the
    /// right one, up to where both walks meet.
    void correct(const Event_Range& range);
    /// Takes back all that was counted of a range.
    void take_back(const Event_Range& range);
    /// Finds the cells of events along a walk. Returns the interval of the first one that the
    /// filter accepts, if it lies in one.
    std::size_t find_along(Trigger_Walk& along, std::span<const orven::Photon_Event> events);
    [[nodiscard]] Trigger_Walk walk_of(const Input& input) const noexcept;
    /// The events of a range from `first` on, at most `length` of them.
    std::span<const orven::Photon_Event> read_piece(const Event_Range& range, std::size_t first,
                                                    std::size_t length);
    void find(std::span<const orven::Photon_Event> events, const Interval& interval);
    /// Looks closer at some of the events, which are the same in whatever ranges they come.
    void sample(std::span<const orven::Photon_Event> events, const Interval& interval);
    void count_found();
    void take_back_found();
    void note_read(std::size_t nEvents);

    Counting_Job job;
    Cell_Counter counter;
    std::size_t piece_length;
    std::unique_ptr<orven::Photon_Event[]> piece;
    std::unique_ptr<std::size_t[]> cells;  ///< of the piece's events
    Event_Account found;                   ///< in the piece
    std::size_t piece_first = 0;           ///< the number of its first event in the file
    std::size_t sample_distance = 1;       ///< from one event that is looked at closer to the next
    Event_Account account;
    std::optional<Trigger_Walk> walk;   ///< along the triggers of `walked`, if that is still open
    std::weak_ptr<const Input> walked;  ///< does not keep the file open
};
