#include "Survey_Collection.h"

#include "number_texts.h"
#include "survey_triggers.h"

#include <algorithm>
#include <limits>

namespace {

std::optional<Quantiles> quantiles_if_any(const Distribution& distribution) {
    return distribution.empty() ? std::nullopt : std::optional(quantiles_of(distribution));
}

/// How wide bins must be, as a power of two of ticks, to hold times up to the period.
int shift_for(std::int64_t period) {
    int shift = 0;
    while (static_cast<std::uint64_t>(period) >> shift >= Since_Trigger::nBins) {
        ++shift;
    }
    return shift;
}

void add_triggers(Summary& total, const Trigger_Summary& triggers) {
    constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
    Trigger_Summary& sum = total.triggers ? *total.triggers : total.triggers.emplace();
    sum.nPulses += triggers.nPulses;
    sum.order.add(triggers.order);
    sum.period.add(triggers.period);
    if (sum.nMissing && triggers.nMissing) {
        *sum.nMissing += std::min(*triggers.nMissing, most - *sum.nMissing);
    } else {
        sum.nMissing.reset();
    }
}

/// Empty for events of one moment.
std::optional<double> rate_of(const Summary& summary) {
    const double span = summary.order.times.empty() ? 0 : seconds(summary.order.span());
    return span > 0 ? std::optional(static_cast<double>(summary.events.nEvents) / span)
                    : std::nullopt;
}

/// Whether events of one file are from the time between those of another: they may count from zero
/// each.
bool overlap_in_time(const std::vector<File_Survey>& files) {
    std::vector<Extent<std::int64_t>> times;
    for (const File_Survey& file : files) {
        if (!file.summary.order.times.empty()) {
            times.push_back(file.summary.order.times);
        }
    }
    std::ranges::sort(times, {}, &Extent<std::int64_t>::smallest);
    const auto overlaps = [](const auto& before, const auto& next) {
        return next.smallest < before.largest;
    };
    return std::ranges::adjacent_find(times, overlaps) != times.end();
}

}  // namespace

Survey_Collection::Survey_Collection(std::vector<File_Survey>& files_)
    : files(files_), inWork(files_.size()), first_with_intervals(files_.size()) {}

void Survey_Collection::look_at(const Input& input) {
    inWork[input.index] = std::make_unique<In_Work>();
    if (!input.file.index().extTriggers) {
        return;
    }
    Value_Sample periods_of_file(input.index);
    files[input.index].summary.triggers = survey_triggers(input.file, periods_of_file);
    const Lock lock(mutex);
    periods.add(periods_of_file);
    if (has_intervals(input.index)) {
        first_with_intervals = std::min(first_with_intervals, input.index);
    }
}

std::optional<int> Survey_Collection::since_shift(const Input& input) const {
    if (!has_intervals(input.index)) {
        return std::nullopt;
    }
    const Lock lock(mutex);
    return shift_for(files[first_with_intervals].summary.triggers->median_period);
}

bool Survey_Collection::has_intervals(std::size_t index) const {
    const std::optional<Trigger_Summary>& triggers = files[index].summary.triggers;
    return triggers && triggers->nPulses > 1 && triggers->order.nSteps_back == 0 &&
           triggers->median_period > 0;
}

void Survey_Collection::add(const Event_Range& range, const Range_Survey& found) {
    const std::size_t index = range.input->index;
    bool isComplete = false;
    {
        In_Work& file = *inWork[index];
        const Lock lock(file.mutex);
        file.orders.emplace_back(range.first, found.order);
        file.nRecorded += range.end - range.first;
        file.events.add(found.events);
        file.photon_counts += found.photon_counts;
        file.psd_counts += found.psd_counts;
        isComplete = file.nRecorded == range.input->file.index().events.nRecords;
        if (isComplete) {
            finish(file, files[index]);
        }
    }
    if (isComplete) {
        inWork[index].reset();
    }
}

void Survey_Collection::finish(In_Work& found, File_Survey& file) {
    Event_Summary& events = file.summary.events;
    events = found.events;
    file.summary.nRejected = found.nRecorded - events.nEvents;
    events.nPhotons = found.photon_counts.extent();
    const Distribution psd = found.psd_counts.distribution();
    if (!psd.empty()) {
        events.psd = {psd.front().smallest, psd.back().largest};
    }
    events.nNaN = found.psd_counts.nNaN();
    std::ranges::sort(found.orders, {}, [](const auto& order) { return order.first; });
    for (const auto& [first, order] : found.orders) {
        file.summary.order.append(order);
    }
    file.summary.rate = rate_of(file.summary);
    file.summary.nPhotons = quantiles_if_any(found.photon_counts.distribution());
    file.summary.psd = quantiles_if_any(psd);
    const Lock lock(mutex);
    photon_counts += found.photon_counts;
    psd_counts += found.psd_counts;
}

void Survey_Collection::sum_up(Survey& survey) const {
    for (const File_Survey& file : files) {
        survey.total.events.add(file.summary.events);
        survey.total.nRejected += file.summary.nRejected;
        survey.total.order.add(file.summary.order);
        if (file.summary.triggers) {
            add_triggers(survey.total, *file.summary.triggers);
        }
    }
    survey.overlap = overlap_in_time(files);
    if (!survey.overlap) {
        survey.total.rate = rate_of(survey.total);
    }
    const Lock lock(mutex);
    if (!periods.empty()) {
        survey.total.triggers->median_period = periods.median();
    }
    survey.nPhotons = photon_counts.distribution();
    survey.psd = psd_counts.distribution();
    survey.total.nPhotons = quantiles_if_any(survey.nPhotons);
    survey.total.psd = quantiles_if_any(survey.psd);
}
