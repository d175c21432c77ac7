#pragma once

#include "Event.h"
#include "Event_File.h"
#include "Filters_Events.h"
#include "binning/Interval.h"
#include "reading/Trigger_List.h"

#include <algorithm>
#include <cstddef>
#include <span>

/// Walks the trigger intervals of one file along with its events, piece after piece. An event
/// belongs to the interval that the walk has reached when it comes; the walk never goes back.
/// Events at or after the last trigger belong to none. Both lists are taken as ascending in time.
class Trigger_Walk {
public:
    /// `firstFrame_` is the number of the file's first interval; the walk ends before the one with
    /// the number `endFrame`. The file must hold triggers and outlive this object.
    Trigger_Walk(const orven::Event_File& file, bool ascending, std::size_t firstFrame_,
                 std::size_t endFrame) noexcept
        : triggers(file, ascending),
          firstFrame(firstFrame_),
          nIntervals(
              std::min(file.index().nIntervals(), endFrame - std::min(firstFrame_, endFrame))) {}

    /// The interval that the walk has reached, counted from the file's first; one that is not
    /// walked any more, or does not exist, when `finished()`.
    [[nodiscard]] std::size_t reached() const noexcept { return current; }

    /// Goes to an interval, which may be behind all.
    void go_to(std::size_t interval) noexcept { current = interval; }

    /// True when no further event of the file lies in an interval before the end.
    [[nodiscard]] bool finished() const noexcept { return current >= nIntervals; }

    /// Calls `visit(events, interval)` for each run of events that lie in one interval. Events
    /// that the filter rejects may be among them, but never move the walk. Returns the events that
    /// come after the last of these intervals.
    /// Throws: std::invalid_argument "Read Error!".
    template <class Visit>
    std::span<const orven::Photon_Event> walk(std::span<const orven::Photon_Event> piece,
                                              const orven::Photon_Filter& filter,
                                              const Visit& visit) {
        while (!piece.empty() && !finished()) {
            const Interval interval{triggers.at(current), firstFrame + current};
            const orven::Event_Time close = triggers.at(current + 1);
            const std::size_t nInside = count_first(
                piece, [close](const orven::Photon_Event& event) { return event.time < close; });
            if (nInside > 0) {
                visit(piece.first(nInside), interval);
            }
            piece = piece.subspan(nInside);
            // What the filter rejects would not be counted, so it may be passed over.
            piece = piece.subspan(count_first(
                piece, [&](const orven::Photon_Event& event) { return !filter.accepts(event); }));
            if (!piece.empty()) {
                current = triggers.first_after(piece.front().time, current + 1) - 1;
            }
        }
        return piece;
    }

private:
    /// How many events come before the first that does not fulfil the condition.
    template <class Condition>
    static std::size_t count_first(std::span<const orven::Photon_Event> piece,
                                   const Condition& condition) noexcept {
        const auto end = std::find_if_not(piece.begin(), piece.end(), condition);
        return static_cast<std::size_t>(end - piece.begin());
    }

    Trigger_List triggers;
    std::size_t firstFrame;
    std::size_t nIntervals;
    std::size_t current = 0;
};
