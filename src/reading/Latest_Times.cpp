#include "reading/Latest_Times.h"

#include <algorithm>
#include <cassert>
#include <limits>

namespace {

/// How long a range may be late: longer than it takes to look it up.
constexpr std::chrono::microseconds patience(100);

}  // namespace

Latest_Times::Latest_Times()
    : latest(std::numeric_limits<long>::min()),
      moved(Clock::now()),
      starts{{std::size_t{0}, latest}} {}

void Latest_Times::put(std::size_t range, orven::Event_Time rangeLatest) {
    const std::lock_guard lock(mutex);
    if (range >= nKnown) {
        ahead.emplace(range, rangeLatest);
    }
    while (!ahead.empty() && ahead.begin()->first == nKnown) {
        latest = std::max(latest, ahead.begin()->second);
        ahead.erase(ahead.begin());
        starts.emplace(nKnown + 1, latest);
        moved = Clock::now();
        ++nKnown;
    }
}

orven::Event_Time Latest_Times::before(
    std::size_t range, const std::function<orven::Event_Time(std::size_t)>& look_up) {
    while (const auto late = wait_for_all_before(range)) {
        put(*late, look_up(*late));
    }
    const std::lock_guard lock(mutex);
    const auto start = starts.extract(range);
    assert(!start.empty());
    return start.mapped();
}

std::optional<std::size_t> Latest_Times::wait_for_all_before(std::size_t range) {
    while (true) {
        // Going to sleep would take longer.
        const Clock::time_point end = Clock::now() + patience;
        while (nKnown < range && Clock::now() < end) {
        }
        const std::lock_guard lock(mutex);
        if (nKnown >= range) {
            return std::nullopt;
        }
        if (Clock::now() - moved > patience) {
            moved = Clock::now();  // so that another looks it up only if this takes long
            return nKnown;
        }
    }
}
