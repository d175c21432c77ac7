#include "survey_triggers.h"

#include "reading/Trigger_List.h"

#include <array>
#include <cmath>
#include <limits>
#include <span>

namespace {

/// Calls `visit(trigger, before)` for each trigger of the file; the first has none before it.
template <class Visit>
void for_each_trigger(const orven::Event_File& file, const Visit& visit) {
    std::array<orven::Event_Time, triggers_per_window> window;
    const std::size_t nTriggers = file.index().extTriggers->nRecords;
    std::optional<std::int64_t> before;
    for (std::size_t i = 0; i < nTriggers; i += window.size()) {
        const auto triggers = std::span(window).first(std::min(window.size(), nTriggers - i));
        file.read_extTriggers(i, triggers);
        for (const orven::Event_Time trigger : triggers) {
            visit(trigger.value, before);
            before = trigger.value;
        }
    }
}

/// The ticks from one trigger to the next, at most as many as 64 bits hold.
std::int64_t period_between(std::int64_t before, std::int64_t trigger) {
    using Limits = std::numeric_limits<std::int64_t>;
    if (before < 0 && trigger > Limits::max() + before) {
        return Limits::max();
    }
    if (before > 0 && trigger < Limits::min() + before) {
        return Limits::min();
    }
    return trigger - before;
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
    for_each_trigger(file, [&](std::int64_t trigger, std::optional<std::int64_t> before) {
        summary.order.append({{trigger, trigger}, trigger, trigger, 0, 0});
        if (before) {
            const std::int64_t period = period_between(*before, trigger);
            summary.period.add(period);
            periods.add(period);
        }
    });
    if (summary.period.empty()) {
        return summary;
    }
    summary.median_period = periods.median();
    if (summary.order.nSteps_back > 0) {
        summary.nMissing.reset();
    } else if (summary.median_period > 0) {
        const auto median = static_cast<double>(summary.median_period);
        for_each_trigger(file, [&](std::int64_t trigger, std::optional<std::int64_t> before) {
            *summary.nMissing += before ? missing_in(period_between(*before, trigger), median) : 0;
        });
    }
    return summary;
}
