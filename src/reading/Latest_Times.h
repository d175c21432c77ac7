#pragma once

#include "Event.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <optional>

/// Of each range of a file, the largest time of all accepted events before it, which tells in which
/// trigger interval the range begins. Tasks that share the file tell the largest times of their own
/// ranges, in any order. None depends on another: what a task that has lost its core does not tell
/// is looked up.
/// Threads: any number may call all members.
class Latest_Times {
public:
    Latest_Times();

    /// Tells the largest accepted time in a range; if it is told again, nothing changes.
    /// Throws: std::bad_alloc.
    void put(std::size_t range, orven::Event_Time rangeLatest);

    /// Whether this range and all before it have been told.
    [[nodiscard]] bool knows(std::size_t range) const noexcept { return range < nKnown; }

    /// The largest accepted time before a range, the smallest time there is if there was none; each
    /// range may ask once. Calls `look_up(late)` for a range before it that is late, which may
    /// return anything once `knows(late)`.
    /// Throws: what `look_up` throws, std::bad_alloc.
    [[nodiscard]] orven::Event_Time before(
        std::size_t range, const std::function<orven::Event_Time(std::size_t)>& look_up);

private:
    using Clock = std::chrono::steady_clock;

    /// Waits until all ranges before this one are known, or until the one it returns must be looked
    /// up.
    [[nodiscard]] std::optional<std::size_t> wait_for_all_before(std::size_t range);

    std::mutex mutex;
    std::atomic<std::size_t> nKnown = 0;  ///< ranges from the first on without a gap
    orven::Event_Time latest;             ///< of these
    Clock::time_point moved;              ///< when the gap came up, or its last look-up began
    std::map<std::size_t, orven::Event_Time> ahead;   ///< of ranges after the gap
    std::map<std::size_t, orven::Event_Time> starts;  ///< before ranges that have not asked yet
};
