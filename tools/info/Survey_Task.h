#pragma once

#include "Bounds.h"
#include "Event.h"
#include "Filters_Events.h"
#include "Log_Histogram.h"
#include "Photon_Histogram.h"
#include "Survey.h"
#include "Time_Histogram.h"
#include "binning/Placement.h"
#include "counting/Cell_Counter.h"
#include "reading/Trigger_List.h"
#include "reading/Work_Queue.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

/// What is found of a range.
struct Range_Survey {
    Event_Summary events;  ///< without photon counts and PSD values
    Time_Order order;
    Photon_Histogram photon_counts;
    Log_Histogram psd_counts;

    void clear() noexcept;
};

/// Reads ranges of events piece by piece, and looks at each event once. Its memory does not grow
/// with the files. Threads: one object per task.
class Survey_Task {
public:
    explicit Survey_Task(const Bounds& bounds);

    /// Looks at the events of a range. Times since triggers are counted in bins of 2^`since_shift`
    /// ticks, if they can be told.
    /// Throws: std::invalid_argument "Read Error!".
    const Range_Survey& survey(const Event_Range& range, std::optional<int> since_shift);

    /// Adds what was found of all ranges together.
    void sum_up(Survey& survey);

private:
    /// Moves the events within the bounds to the front.
    [[nodiscard]] std::span<const orven::Photon_Event> accepted(
        std::span<orven::Photon_Event> events) const;
    void start_walk(const std::shared_ptr<const Input>& input, int since_shift);
    void survey_piece(std::span<const orven::Photon_Event> events);
    /// Events are numbered from `number` on.
    void take_sample(std::span<const orven::Photon_Event> events, std::uint64_t number);
    void count_pixels(std::span<const orven::Photon_Event> events);
    void collect_image() noexcept;
    /// Takes the times out of the events, and sorts them.
    Time_Order take_times(std::span<const orven::Photon_Event> events);
    void count_since_triggers(std::span<const std::int64_t> ascending);

    Placement placement;  ///< in the image
    orven::Photon_Filter any_event;
    bool bounded;
    orven::Photon_Filter bounds_filter;
    std::unique_ptr<orven::Photon_Event[]> piece;
    std::vector<std::size_t> cells;  ///< of the piece
    Counters pixels;                 ///< of the image, until they are collected
    std::uint64_t nUncollected = 0;
    std::vector<std::int64_t> times;  ///< of the piece, ascending
    Range_Survey found;
    Event_Sample sample;
    Survey_Image image;
    Time_Histogram over_time;
    std::optional<Since_Trigger> since_trigger;
    std::optional<Trigger_List> triggers;  ///< of `walked`, if that is still open
    std::weak_ptr<const Input> walked;     ///< does not keep the file open
    std::size_t next_trigger = 0;
};
