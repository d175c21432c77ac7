#pragma once

#include "Event.h"

#include <cstddef>
#include <cstdint>

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
