#include "reading/Walk_Ledger.h"

#include <algorithm>

std::size_t Walk_Ledger::lower_bound() const {
    const Lock lock(mutex);
    return prefix_maximum;
}

std::size_t Walk_Ledger::get_readable_end() const {
    const Lock lock(mutex);
    return readable_end;
}

std::vector<Wrong_Range> Walk_Ledger::enter(std::size_t first, std::size_t end,
                                            const Walked& walked) {
    const Lock lock(mutex);
    entries.emplace(first, Entry{end, walked});
    return first < readable_end ? close_gap() : drop_unreadable();
}

std::vector<Wrong_Range> Walk_Ledger::fail(std::size_t first) {
    const Lock lock(mutex);
    readable_end = std::min(readable_end, first);
    return drop_unreadable();
}

std::vector<Wrong_Range> Walk_Ledger::close_gap() {
    std::vector<Wrong_Range> wrong;
    while (!entries.empty() && entries.begin()->first == known_events) {
        const auto [end, walked] = entries.begin()->second;
        // From the interval of the first accepted event on, the walk is the same from any earlier
        // start. Before it, nothing was counted.
        if (walked.first_accepted < prefix_maximum) {
            wrong.push_back({known_events, end, {walked.start, prefix_maximum}});
        }
        prefix_maximum = std::max(prefix_maximum, walked.reached);
        known_events = end;
        entries.erase(entries.begin());
    }
    return wrong;
}

std::vector<Wrong_Range> Walk_Ledger::drop_unreadable() {
    std::vector<Wrong_Range> wrong;
    const auto behind = entries.lower_bound(readable_end);
    for (auto entry = behind; entry != entries.end(); ++entry) {
        const auto& [end, walked] = entry->second;
        wrong.push_back({entry->first, end, {walked.start, {}}});
    }
    entries.erase(behind, entries.end());
    return wrong;
}
