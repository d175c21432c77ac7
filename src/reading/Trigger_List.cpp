#include "reading/Trigger_List.h"

#include <algorithm>
#include <cassert>
#include <limits>

bool triggers_ascend(const orven::Event_File& file) {
    std::array<orven::Event_Time, triggers_per_window> memory;
    const std::size_t nTriggers = file.index().extTriggers->nRecords;
    orven::Event_Time last(std::numeric_limits<long>::min());
    for (std::size_t i = 0; i < nTriggers; i += triggers_per_window) {
        const std::span window(memory.data(), std::min(triggers_per_window, nTriggers - i));
        file.read_extTriggers(i, window);
        if (window.front() < last || !std::ranges::is_sorted(window)) {
            return false;
        }
        last = window.back();
    }
    return true;
}

Trigger_List::Trigger_List(const orven::Event_File& file_, bool ascending_) noexcept
    : file(&file_), ascending(ascending_), nTriggers(file_.index().extTriggers->nRecords) {}

std::size_t Trigger_List::first_after(orven::Event_Time time, std::size_t index) {
    for (; index < nTriggers && at(index) <= time; ++index) {
        const bool last_shown = index + 1 == first + nShown;
        if (last_shown && ascending) {
            return search(time, index + 1);
        }
    }
    return index;
}

void Trigger_List::show(std::size_t index) {
    assert(index < nTriggers);
    nShown = 0;  // should reading fail
    const std::span next(window.data(), std::min(triggers_per_window, nTriggers - index));
    file->read_extTriggers(index, next);
    nShown = next.size();
    first = index;
}

std::size_t Trigger_List::search(orven::Event_Time time, std::size_t index) const {
    std::size_t end = nTriggers;
    while (index < end) {
        const std::size_t middle = index + (end - index) / 2;
        orven::Event_Time probe{};
        file->read_extTriggers(middle, std::span(&probe, 1));
        if (probe <= time) {
            index = middle + 1;
        } else {
            end = middle;
        }
    }
    return index;
}
