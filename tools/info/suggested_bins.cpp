#include "suggested_bins.h"

#include "binning/Image_Geometry.h"
#include "number_texts.h"
#include "suggested_region.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <span>
#include <string>
#include <vector>

namespace {

using orven::Event_Time;

constexpr double good_number_of_bins = 100;
constexpr std::int64_t longest_period = std::int64_t{1} << 62;  ///< vexolan takes less than 2^63

/// The smallest of 1, 2 and 5 times a power of ten that is not below `seconds`, and at least a
/// tick.
double round_number(double seconds) {
    constexpr double tick = Event_Time::seconds_per_tick;
    const auto power = static_cast<int>(std::floor(std::log10(std::max(seconds, tick))));
    for (const int factor : {1, 2, 5, 10}) {
        const double value = std::stod(std::to_string(factor) + "e" + std::to_string(power));
        if (value >= std::max(seconds, tick)) {
            return value;
        }
    }
    return tick;
}

/// The smallest number of four digits that is not below `seconds`.
double four_digits_up(double seconds) {
    constexpr int more_digits = 3;
    constexpr double rounding = 1e-9;
    const auto power = static_cast<int>(std::floor(std::log10(seconds))) - more_digits;
    const double steps = std::ceil(seconds / std::pow(10, power) * (1 - rounding));
    return std::stod(std::to_string(static_cast<std::uint64_t>(steps)) + "e" +
                     std::to_string(power));
}

/// Bins begin at a multiple of their length, as near as a number of seconds can name it; none if
/// that would leave out the first time.
std::optional<Bin_Plan> bins_over(const Extent<std::int64_t>& times, double bin_seconds) {
    const Event_Time bin = time_bin_length(bin_seconds);
    const auto first = static_cast<double>(times.smallest);
    const double start_seconds = seconds(std::floor(first / static_cast<double>(bin.value)) *
                                         static_cast<double>(bin.value));
    const auto start = Event_Time::from_seconds(start_seconds);
    constexpr std::int64_t limit = std::int64_t{1} << 62;  // of vexolan
    if (!start || start->value > times.smallest || start->value <= -limit ||
        start->value >= limit) {
        return std::nullopt;
    }
    const std::uint64_t last =
        static_cast<std::uint64_t>(times.largest) - static_cast<std::uint64_t>(start->value);
    return Bin_Plan{bin_seconds, start_seconds, last / static_cast<std::uint64_t>(bin.value) + 1,
                    0};
}

/// Bins of a histogram, from the first to the last.
struct Bin_Span {
    std::size_t first;
    std::size_t last;
    std::uint64_t nBeside;  ///< events in the others

    [[nodiscard]] std::size_t size() const noexcept { return last - first + 1; }
};

Bin_Span span_without_tails(const std::vector<std::uint64_t>& counts, std::uint64_t nIgnored) {
    const auto [first, last] = ends_of(counts, nIgnored);
    const auto sum = [&](std::size_t begin, std::size_t end) {
        const auto bins = std::span(counts).subspan(begin, end - begin);
        return std::accumulate(bins.begin(), bins.end(), std::uint64_t{0});
    };
    return {first, last, sum(0, first) + sum(last + 1, counts.size())};
}

/// How many events may be left out at each end.
std::uint64_t ignorable(std::uint64_t nEvents) {
    constexpr std::uint64_t one_in = 2000;
    return nEvents / one_in;
}

/// Events of the bins that begin between these times, in ticks.
std::uint64_t count_between(const Since_Trigger& since, double start, double end) {
    std::uint64_t count = 0;
    for (std::size_t bin = 0; bin < since.counts.size(); ++bin) {
        const double time = std::ldexp(static_cast<double>(bin), since.shift);
        count += time >= start && time < end ? since.counts[bin] : 0;
    }
    return count;
}

/// When events come after a trigger, in ticks.
Extent<std::int64_t> times_since_trigger(const Since_Trigger& since,
                                         const Trigger_Summary& triggers) {
    const std::int64_t period = std::min(triggers.median_period, longest_period);
    const std::int64_t longest = std::clamp(triggers.period.largest, period, longest_period);
    const std::uint64_t nEvents =
        std::accumulate(since.counts.begin(), since.counts.end(), since.nBeyond);
    const auto end_of_bin = [&](std::size_t bin) {
        const double end = std::ldexp(static_cast<double>(bin) + 1, since.shift);
        return end < static_cast<double>(longest) ? static_cast<std::int64_t>(end) : longest;
    };
    if (nEvents == 0 || since.nBeyond > ignorable(nEvents)) {
        return {0, period - 1};
    }
    const Bin_Span part = span_without_tails(since.counts, ignorable(nEvents) - since.nBeyond);
    const std::int64_t start = static_cast<std::int64_t>(part.first) << since.shift;
    const std::int64_t end = end_of_bin(part.last);
    if (end - start < period / 2) {
        return {start, end - 1};
    }
    const std::int64_t end_of_all = end_of_bin(span_without_tails(since.counts, 0).last);
    return {0, std::max(period, since.nBeyond > 0 ? period : end_of_all) - 1};
}

}  // namespace

std::optional<Bin_Plan> bins_over_time(const Survey& survey) {
    const Time_Histogram& histogram = survey.over_time;
    const std::vector<std::uint64_t> counts(histogram.counts().begin(), histogram.counts().end());
    const Bin_Span part = span_without_tails(counts, ignorable(survey.total.events.nEvents));
    Extent<std::int64_t> times = survey.total.order.times;
    const bool most_is_empty = 2 * part.size() < counts.size();
    if (most_is_empty) {
        const auto edge = [&](std::size_t bin) {
            return histogram.start() + histogram.bin_width() * static_cast<double>(bin);
        };
        // Edges beyond the events may not fit.
        const auto within = [&](double time) {
            return time <= static_cast<double>(times.smallest)  ? times.smallest
                   : time >= static_cast<double>(times.largest) ? times.largest
                                                                : static_cast<std::int64_t>(time);
        };
        times = {within(edge(part.first)), within(edge(part.last + 1) - 1)};
    }
    const double length = seconds(static_cast<std::uint64_t>(times.largest) -
                                  static_cast<std::uint64_t>(times.smallest));
    auto plan = bins_over(times, round_number(length / good_number_of_bins));
    if (plan && most_is_empty) {
        plan->nLost = part.nBeside;
    }
    return plan;
}

std::optional<Bin_Plan> bins_since_trigger(const Survey& survey) {
    const Since_Trigger& since = *survey.since_trigger;
    const Extent<std::int64_t> times = times_since_trigger(since, *survey.total.triggers);
    const double bin =
        round_number(seconds(times.largest - times.smallest + 1) / good_number_of_bins);
    auto plan = bins_over(times, bin);
    if (!plan) {
        return std::nullopt;
    }
    const auto start = static_cast<double>(Event_Time::from_seconds(plan->start_seconds)->value);
    const double end =
        start + static_cast<double>(plan->nPages) * static_cast<double>(time_bin_length(bin).value);
    plan->nLost = survey.total.events.nEvents - count_between(since, start, end);
    return plan;
}

Bin_Plan frames(const Survey& survey, std::uint64_t nPages) {
    const Trigger_Summary& triggers = *survey.total.triggers;
    const std::int64_t period = std::min(triggers.median_period, longest_period);
    const bool none_is_long = triggers.period.largest / 3 <= period / 2;
    const double length =
        four_digits_up(seconds(none_is_long ? std::max(period, triggers.period.largest) : period));
    const auto end = static_cast<double>(time_bin_length(length).value);
    return {length, 0, nPages,
            survey.total.events.nEvents - count_between(*survey.since_trigger, 0, end)};
}
