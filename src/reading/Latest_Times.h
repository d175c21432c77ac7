#pragma once

#include "Event.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
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
    using Clock = std::chrono::steady_clock;

    Latest_Times();

    /// Tells the largest accepted time in a range, and how long it took to read the range and to
    /// find it; nothing changes if the range is known already.
    /// Throws: std::bad_alloc.
    void put(std::size_t range, orven::Event_Time rangeLatest, Clock::duration took);

    /// Whether this range and all before it are known.
    [[nodiscard]] bool knows(std::size_t range) const noexcept { return range < nKnown; }

    /// The largest accepted time before a range, the smallest time there is if there was none; each
    /// range may ask once. Calls `look_up(late)` for a range before it that takes much longer than
    /// others did. It may return anything once `knows(late)`.
    /// Throws: what `look_up` throws, std::bad_alloc.
    [[nodiscard]] orven::Event_Time before(
        std::size_t range, const std::function<orven::Event_Time(std::size_t)>& look_up);

private:
    void add(std::size_t range, orven::Event_Time rangeLatest);
    /// Waits until all ranges before this one are known, or until the one it returns must be looked
    /// up.
    [[nodiscard]] std::optional<std::size_t> wait_for_all_before(std::size_t range);

    std::mutex mutex;
    std::condition_variable gapMoved;
    std::atomic<std::size_t> nKnown = 0;  ///< ranges from the first on without a gap
    orven::Event_Time latest;             ///< of these
    Clock::time_point moved;              ///< when the gap came up, or its last look-up began
    Clock::duration lastTook{};
    Clock::duration patience;                         ///< how long the range in the gap may be late
    std::map<std::size_t, orven::Event_Time> ahead;   ///< of ranges after the gap
    std::map<std::size_t, orven::Event_Time> starts;  ///< before ranges that have not asked yet
};
