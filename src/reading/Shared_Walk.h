#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <optional>

/// Which trigger interval of a file the walk has reached before each range of its events. Tasks
/// that share the file tell which interval their own ranges reach, in any order. None depends on
/// another: what a task that has lost its core does not tell is looked up.
/// Threads: any number may call all members.
class Shared_Walk {
public:
    using Clock = std::chrono::steady_clock;

    /// Tells the interval that a walk along a range reaches, whether it began with the first one or
    /// with one that ranges before have reached, and how long it took to read and to walk it.
    /// Nothing changes if the range is known already.
    /// Throws: std::bad_alloc.
    void put(std::size_t range, std::size_t reached, Clock::duration took);

    /// Whether this range and all before it are known.
    [[nodiscard]] bool knows(std::size_t range) const noexcept { return range < nKnown; }

    /// The interval that the walk has reached before a range; each range may ask once. Calls
    /// `look_up(late)` for a range before it that takes much longer than others did. It may return
    /// anything once `knows(late)`.
    /// Throws: what `look_up` throws, std::bad_alloc.
    [[nodiscard]] std::size_t before(std::size_t range,
                                     const std::function<std::size_t(std::size_t)>& look_up);

private:
    void add(std::size_t range, std::size_t reached);
    /// Waits until all ranges before this one are known, or until the one it returns must be looked
    /// up.
    [[nodiscard]] std::optional<std::size_t> wait_for_all_before(std::size_t range);

    /// Longer than it takes to look up a range that is in memory.
    static constexpr Clock::duration least_patience = std::chrono::microseconds(100);
    /// A range that cannot be read is never told.
    static constexpr Clock::duration most_patience = std::chrono::seconds(1);

    std::mutex mutex;
    std::condition_variable gapMoved;
    std::atomic<std::size_t> nKnown = 0;     ///< ranges from the first on without a gap
    std::size_t furthest = 0;                ///< that these reach
    Clock::time_point moved = Clock::now();  ///< when the gap came up, or its last look-up began
    Clock::duration lastTook{};
    Clock::duration patience = least_patience;  ///< how long the range in the gap may be late
    std::map<std::size_t, std::size_t> ahead;   ///< what ranges after the gap reach
    std::map<std::size_t, std::size_t> starts{{0, 0}};  ///< of ranges that have not asked yet
};
