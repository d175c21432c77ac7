#include "reading/Latest_Times.h"

#include <algorithm>
#include <cassert>
#include <limits>

namespace {

/// Longer than it takes to look up a range that is in memory.
constexpr Latest_Times::Clock::duration least_patience = std::chrono::microseconds(100);

/// A range that cannot be read is never told.
constexpr Latest_Times::Clock::duration most_patience = std::chrono::seconds(1);

}  // namespace

Latest_Times::Latest_Times()
    : latest(std::numeric_limits<long>::min()),
      moved(Clock::now()),
      patience(least_patience),
      starts{{std::size_t{0}, latest}} {}

void Latest_Times::put(std::size_t range, orven::Event_Time rangeLatest, Clock::duration took) {
    const std::lock_guard lock(mutex);
    // Of two ranges, one may have taken long because its task lost its core.
    patience = std::clamp(2 * std::min(took, lastTook), least_patience, most_patience);
    lastTook = took;
    add(range, rangeLatest);
}

orven::Event_Time Latest_Times::before(
    std::size_t range, const std::function<orven::Event_Time(std::size_t)>& look_up) {
    while (const auto late = wait_for_all_before(range)) {
        const orven::Event_Time rangeLatest = look_up(*late);
        const std::lock_guard lock(mutex);
        add(*late, rangeLatest);
    }
    const std::lock_guard lock(mutex);
    const auto start = starts.extract(range);
    assert(!start.empty());
    return start.mapped();
}

void Latest_Times::add(std::size_t range, orven::Event_Time rangeLatest) {
    if (range >= nKnown) {
        ahead.emplace(range, rangeLatest);
    }
    while (!ahead.empty() && ahead.begin()->first == nKnown) {
        latest = std::max(latest, ahead.begin()->second);
        ahead.erase(ahead.begin());
        starts.emplace(nKnown + 1, latest);
        moved = Clock::now();
        ++nKnown;
        gapMoved.notify_all();
    }
}

std::optional<std::size_t> Latest_Times::wait_for_all_before(std::size_t range) {
    // Most are late only a little: going to sleep at once would take longer.
    const Clock::time_point end = Clock::now() + least_patience;
    while (nKnown < range && Clock::now() < end) {
    }
    std::unique_lock lock(mutex);
    while (nKnown < range) {
        const Clock::time_point overdue = moved + patience;
        if (const Clock::time_point now = Clock::now(); now > overdue) {
            moved = now;  // so that another task looks it up only if this one is late as well
            return nKnown;
        }
        gapMoved.wait_until(lock, overdue);
    }
    return std::nullopt;
}
