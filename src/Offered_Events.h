#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "Event.h"

/// How many events are read, filtered and placed at a time: few enough to stay in a core's cache.
inline constexpr std::size_t events_per_piece = 2048;

/// The events of one piece that passed the filter and the trigger walk, one array a field, with
/// the time to bin and the frame of each. Units: raw values of Length and Time.
struct Offered_Events {
    std::size_t size = 0;
    std::array<std::int32_t, events_per_piece> x;
    std::array<std::int32_t, events_per_piece> y;
    std::array<std::int64_t, events_per_piece> time;
    std::array<std::size_t, events_per_piece> frameIndex;

    /// Writes the event at the end and keeps it only if it is accepted: no branch to mispredict.
    void append_if(bool accepted, const orven::Photon_Event& event, std::int64_t time_,
                   std::size_t frameIndex_) noexcept {
        x[size] = event.x.value;
        y[size] = event.y.value;
        time[size] = time_;
        frameIndex[size] = frameIndex_;
        size += accepted ? 1 : 0;
    }
};

/// Cells of an image, as positions in its storage order.
struct Cell_List {
    std::size_t size = 0;
    std::array<std::size_t, events_per_piece> cells;

    void append_if(bool accepted, std::size_t cell) noexcept {
        cells[size] = cell;
        size += accepted ? 1 : 0;
    }
};

/// Offers every event that passes the filter, with its own time.
template <class Filter>
void offer_all(std::span<const orven::Photon_Event> piece, const Filter& filter,
               Offered_Events& offered) {
    offered.size = 0;
    for (const orven::Photon_Event& event : piece) {
        offered.append_if(filter.accepts(event), event, event.time.value, 0);
    }
}

/// Walks the trigger intervals of one file along with its events, piece after piece. An event
/// belongs to the interval that the walk has reached; the walk never goes back, and events at or
/// after the last trigger are not offered. Both lists are taken as ascending in time.
class Trigger_Walk {
public:
    using Time = orven::Photon_Event::Time;

    /// `firstFrame` is the frame index of the file's first interval.
    Trigger_Walk(std::vector<Time>&& triggers_, std::size_t firstFrame_)
        : triggers(std::move(triggers_)), firstFrame(firstFrame_) {}

    /// The number of intervals: none with fewer than two triggers.
    [[nodiscard]] std::size_t nIntervals() const noexcept {
        return triggers.empty() ? 0 : triggers.size() - 1;
    }

    /// True when no further event of the file can be offered.
    [[nodiscard]] bool finished() const noexcept { return interval >= nIntervals(); }

    /// Offers the events of the piece that pass the filter and lie in an interval, with their time
    /// since the trigger that opens it; a difference beyond 64 bits wraps.
    template <class Filter>
    void offer(std::span<const orven::Photon_Event> piece, const Filter& filter,
               Offered_Events& offered) {
        offered.size = 0;
        for (auto event = piece.begin(); event != piece.end() && !finished();) {
            event = offer_interval(event, piece.end(), filter, offered);
        }
    }

private:
    using Iterator = std::span<const orven::Photon_Event>::iterator;

    /// Offers events up to the first accepted one behind the current interval, and then moves to
    /// the next interval.
    template <class Filter>
    Iterator offer_interval(Iterator event, Iterator end, const Filter& filter,
                            Offered_Events& offered) {
        const std::int64_t open = triggers[interval].value;
        const std::int64_t close = triggers[interval + 1].value;
        for (; event != end; ++event) {
            const bool accepted = filter.accepts(*event);
            if (event->time.value >= close && accepted) {
                ++interval;
                break;
            }
            offered.append_if(accepted, *event, difference(event->time.value, open),
                              firstFrame + interval);
        }
        return event;
    }

    static std::int64_t difference(std::int64_t time, std::int64_t origin) noexcept {
        return static_cast<std::int64_t>(static_cast<std::uint64_t>(time) -
                                         static_cast<std::uint64_t>(origin));
    }

    std::vector<Time> triggers;
    std::size_t firstFrame;
    std::size_t interval = 0;
};
