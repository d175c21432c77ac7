#pragma once

#include <optional>
#include <utility>
#include <vector>

namespace orven {

/// The content of one event file.
template <class Event_Type>
struct Data_Events {
    using Event = Event_Type;
    using Time = typename Event_Type::Time;

    /// All events, in file order.
    std::vector<Event> events;
    /// The external trigger times, in file order. Engaged exactly when the file holds a trigger
    /// block, an empty one included: a recording without trigger input has none.
    std::optional<std::vector<Time>> extTriggers;

    /// Takes over both vectors; the sources are left empty.
    Data_Events(std::vector<Event>&& events_,
                std::optional<std::vector<Time>>&& extTriggers_) noexcept
        : events(std::move(events_)), extTriggers(std::move(extTriggers_)) {}
};

}  // namespace orven
