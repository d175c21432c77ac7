#include "Survey_Collection.h"

#include "survey_triggers.h"

#include <algorithm>
#include <tuple>

namespace {

Binned photon_bins(const Event_Summary& events, const Log_Histogram& counts) {
    if (events.nPhotons.empty()) {
        return {};
    }
    return in_whole_bins(counts.binned(static_cast<double>(events.nPhotons.smallest),
                                       static_cast<double>(events.nPhotons.largest)));
}

Binned psd_bins(const Event_Summary& events, const Log_Histogram& counts) {
    return events.psd.empty() ? Binned{} : counts.binned(events.psd.smallest, events.psd.largest);
}

/// Bins may be wider than what the values in them span.
template <class Value>
Quantiles within(Quantiles quantiles, const Extent<Value>& extent) {
    for (double& quantile : quantiles) {
        quantile = std::clamp(quantile, static_cast<double>(extent.smallest),
                              static_cast<double>(extent.largest));
    }
    return quantiles;
}

/// Works out the quantiles, and returns the bins that they are of.
std::pair<Binned, Binned> describe(Summary& summary, const Log_Histogram& photon_counts,
                                   const Log_Histogram& psd_counts) {
    std::pair bins(photon_bins(summary.events, photon_counts),
                   psd_bins(summary.events, psd_counts));
    if (!bins.first.counts.empty()) {
        summary.nPhotons = within(quantiles_of(bins.first, true), summary.events.nPhotons);
    }
    if (!bins.second.counts.empty()) {
        summary.psd = within(quantiles_of(bins.second, false), summary.events.psd);
    }
    return bins;
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
    Trigger_Summary& sum = total.triggers ? *total.triggers : total.triggers.emplace();
    sum.nPulses += triggers.nPulses;
    sum.order.add(triggers.order);
    sum.period.add(triggers.period);
    sum.nMissing += triggers.nMissing;
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
        file.events.add(found.events);
        file.photon_counts += found.photon_counts;
        file.psd_counts += found.psd_counts;
        isComplete = file.events.nEvents == range.input->file.index().events.nRecords;
        if (isComplete) {
            finish(file, files[index]);
        }
    }
    if (isComplete) {
        inWork[index].reset();
    }
}

void Survey_Collection::finish(In_Work& found, File_Survey& file) {
    file.summary.events = found.events;
    file.summary.events.nNaN = found.psd_counts.nNaN();
    std::ranges::sort(found.orders, {}, [](const auto& order) { return order.first; });
    for (const auto& [first, order] : found.orders) {
        file.summary.order.append(order);
    }
    describe(file.summary, found.photon_counts, found.psd_counts);
    const Lock lock(mutex);
    photon_counts += found.photon_counts;
    psd_counts += found.psd_counts;
}

void Survey_Collection::sum_up(Survey& survey) const {
    for (const File_Survey& file : files) {
        survey.total.events.add(file.summary.events);
        survey.total.order.add(file.summary.order);
        if (file.summary.triggers) {
            add_triggers(survey.total, *file.summary.triggers);
        }
    }
    const Lock lock(mutex);
    if (!periods.empty()) {
        survey.total.triggers->median_period = periods.median();
    }
    std::tie(survey.nPhotons, survey.psd) = describe(survey.total, photon_counts, psd_counts);
}
