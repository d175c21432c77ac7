#pragma once

#include "Event.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

/// What places an event in time: the trigger that opens its interval, and the interval's number.
struct Interval {
    orven::Event_Time open{0};
    std::size_t frameIndex = 0;

    /// The event's time since `open`; a difference beyond 64 bits wraps.
    [[nodiscard]] orven::Event_Time relative(orven::Event_Time time) const noexcept {
        return orven::Event_Time(static_cast<long>(static_cast<std::uint64_t>(time.value) -
                                                   static_cast<std::uint64_t>(open.value)));
    }
};

/// Walks the trigger intervals of one file along with its events, piece after piece. An event
/// belongs to the interval that the walk has reached when it comes; the walk never goes back.
/// Events at or after the last trigger belong to none. Both lists are taken as ascending in time.
class Trigger_Walk {
public:
    using Event = orven::Photon_Event;

    /// `firstFrame_` is the number of the file's first interval.
    Trigger_Walk(std::vector<orven::Event_Time>&& triggers_, std::size_t firstFrame_)
        : triggers(std::move(triggers_)), firstFrame(firstFrame_) {}

    /// The number of intervals: none with fewer than two triggers.
    [[nodiscard]] std::size_t nIntervals() const noexcept {
        return triggers.empty() ? 0 : triggers.size() - 1;
    }

    /// True when no further event of the file lies in an interval.
    [[nodiscard]] bool finished() const noexcept { return current >= nIntervals(); }

    /// Calls `place(events, interval)` for each run of events that lie in one interval. Events
    /// that the filter rejects may be among them, but never move the walk.
    template <class Filter, class Place>
    void walk(std::span<const Event> piece, const Filter& filter, const Place& place) {
        while (!piece.empty() && !finished()) {
            const std::size_t length = count_before(triggers[current + 1], piece);
            place(piece.first(length), Interval{triggers[current], firstFrame + current});
            piece = piece.subspan(length);
            if (!piece.empty()) {
                if (filter.accepts(piece.front())) {
                    ++current;
                } else {
                    piece = piece.subspan(1);
                }
            }
        }
    }

private:
    static std::size_t count_before(orven::Event_Time close, std::span<const Event> piece) {
        std::size_t i = 0;
        while (i < piece.size() && piece[i].time < close) {
            ++i;
        }
        return i;
    }

    std::vector<orven::Event_Time> triggers;
    std::size_t firstFrame;
    std::size_t current = 0;
};
