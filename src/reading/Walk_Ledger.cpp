#include "reading/Walk_Ledger.h"

#include <algorithm>

std::size_t Walk_Ledger::lower_bound() const {
    const Lock lock(mutex);
    return prefix_maximum;
}

std::vector<Wrong_Walk> Walk_Ledger::enter(std::size_t first, std::size_t end,
                                           const Walked& walked) {
    const Lock lock(mutex);
    entries.emplace(first, Entry{end, walked});
    std::vector<Wrong_Walk> wrong;
    while (!entries.empty() && entries.begin()->first == known_events) {
        const Entry next = entries.begin()->second;
        // From the interval of the first accepted event on, the walk is the same from any earlier
        // start. Before it, nothing was counted.
        if (next.walked.first_accepted < prefix_maximum) {
            wrong.push_back({known_events, next.end, next.walked.start, prefix_maximum});
        }
        prefix_maximum = std::max(prefix_maximum, next.walked.reached);
        known_events = next.end;
        entries.erase(entries.begin());
    }
    return wrong;
}
