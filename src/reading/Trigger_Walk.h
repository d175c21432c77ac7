#pragma once

#include "Event.h"
#include "Event_File.h"
#include "Filters_Events.h"
#include "binning/Interval.h"
#include "reading/Trigger_List.h"

#include <cstddef>
#include <span>

/// Walks the trigger intervals of one file along with its events, piece after piece. An event
/// belongs to the interval that the walk has reached when it comes; the walk never goes back.
/// Events at or after the last trigger belong to none. Both lists are taken as ascending in time.
class Trigger_Walk {
public:
    /// `firstFrame_` is the number of the file's first interval. The file must hold triggers and
    /// outlive this object.
    Trigger_Walk(const orven::Event_File& file, bool ascending, std::size_t firstFrame_) noexcept
        : triggers(file, ascending), firstFrame(firstFrame_) {}

    /// The number of intervals: none with fewer than two triggers.
    [[nodiscard]] std::size_t nIntervals() const noexcept {
        return triggers.size() == 0 ? 0 : triggers.size() - 1;
    }

    /// True when no further event of the file lies in an interval.
    [[nodiscard]] bool finished() const noexcept { return current >= nIntervals(); }

    /// Calls `place(events, interval)` for each run of events that lie in one interval. Events
    /// that the filter rejects may be among them, but never move the walk.
    /// Throws: std::invalid_argument "Read Error!".
    template <class Place>
    void walk(std::span<const orven::Photon_Event> piece, const orven::Photon_Filter& filter,
              const Place& place) {
        while (!piece.empty() && !finished()) {
            const std::size_t length = count_before(triggers.at(current + 1), piece);
            if (length > 0) {
                place(piece.first(length), Interval{triggers.at(current), firstFrame + current});
                piece = piece.subspan(length);
            } else if (filter.accepts(piece.front())) {
                current = triggers.first_after(piece.front().time, current + 1) - 1;
            } else {
                piece = piece.subspan(1);
            }
        }
    }

private:
    static std::size_t count_before(orven::Event_Time close,
                                    std::span<const orven::Photon_Event> piece) noexcept {
        std::size_t i = 0;
        while (i < piece.size() && piece[i].time < close) {
            ++i;
        }
        return i;
    }

    Trigger_List triggers;
    std::size_t firstFrame;
    std::size_t current = 0;
};
