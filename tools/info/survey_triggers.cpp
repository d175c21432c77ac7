#include "survey_triggers.h"

#include "reading/Trigger_List.h"

#include <array>
#include <cmath>
#include <span>

namespace {

/// Calls `visit(trigger)` for each trigger of the file.
template <class Visit>
void for_each_trigger(const orven::Event_File& file, const Visit& visit) {
    std::array<orven::Event_Time, triggers_per_window> window;
    const std::size_t nTriggers = file.index().extTriggers->nRecords;
    for (std::size_t i = 0; i < nTriggers; i += window.size()) {
        const auto triggers = std::span(window).first(std::min(window.size(), nTriggers - i));
        file.read_extTriggers(i, triggers);
        for (const orven::Event_Time trigger : triggers) {
            visit(trigger.value);
        }
    }
}

/// Calls `visit(period)` for the ticks from each trigger to the next; wraps beyond 64 bits.
template <class Visit>
void for_each_period(const orven::Event_File& file, const Visit& visit) {
    std::optional<std::int64_t> last;
    for_each_trigger(file, [&](std::int64_t trigger) {
        if (last) {
            visit(static_cast<std::int64_t>(static_cast<std::uint64_t>(trigger) -
                                            static_cast<std::uint64_t>(*last)));
        }
        last = trigger;
    });
}

/// How many pulses are missing between two that are so far apart.
std::uint64_t missing_in(std::int64_t period, double median) {
    const double pulses = std::round(static_cast<double>(period) / median);
    return pulses > 1 ? static_cast<std::uint64_t>(pulses) - 1 : 0;
}

}  // namespace

Trigger_Summary survey_triggers(const orven::Event_File& file, Value_Sample& periods) {
    Trigger_Summary summary;
    summary.nPulses = file.index().extTriggers->nRecords;
    for_each_trigger(file, [&](std::int64_t trigger) {
        summary.order.append({{trigger, trigger}, trigger, trigger, 0, 0});
    });
    for_each_period(file, [&](std::int64_t period) {
        summary.period.add(period);
        periods.add(period);
    });
    if (summary.period.empty()) {
        return summary;
    }
    summary.median_period = periods.median();
    if (summary.median_period > 0) {
        const auto median = static_cast<double>(summary.median_period);
        for_each_period(
            file, [&](std::int64_t period) { summary.nMissing += missing_in(period, median); });
    }
    return summary;
}
