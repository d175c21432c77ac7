#include "reading/Shared_Walk.h"

#include <algorithm>
#include <cassert>

namespace {

/// About as long as it takes to wake a thread.
constexpr std::chrono::microseconds brief(20);

}  // namespace

void Shared_Walk::put(std::size_t range, std::size_t reached, Clock::duration took) {
    const std::lock_guard lock(mutex);
    // Of two ranges, one may have taken long because its task lost its core.
    patience = std::clamp(2 * std::min(took, lastTook), least_patience, most_patience);
    lastTook = took;
    add(range, reached);
}

std::size_t Shared_Walk::before(std::size_t range,
                                const std::function<std::size_t(std::size_t)>& look_up) {
    while (const auto late = wait_for_all_before(range)) {
        const std::size_t reached = look_up(*late);
        const std::lock_guard lock(mutex);
        add(*late, reached);
    }
    const std::lock_guard lock(mutex);
    const auto start = starts.extract(range);
    assert(!start.empty());
    return start.mapped();
}

void Shared_Walk::add(std::size_t range, std::size_t reached) {
    if (range >= nKnown) {
        ahead.emplace(range, reached);
    }
    while (!ahead.empty() && ahead.begin()->first == nKnown) {
        furthest = std::max(furthest, ahead.begin()->second);
        ahead.erase(ahead.begin());
        starts.emplace(nKnown + 1, furthest);
        moved = Clock::now();
        ++nKnown;
        gapMoved.notify_all();
    }
}

std::optional<std::size_t> Shared_Walk::wait_for_all_before(std::size_t range) {
    // Most are late only a little: going to sleep at once would take longer.
    const Clock::time_point end = Clock::now() + brief;
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
