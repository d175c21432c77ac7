#include "Survey_Queue.h"

#include <algorithm>

namespace {

/// How many events a task takes at a time: enough for the system to read ahead, few enough for
/// tasks to end together.
constexpr std::size_t events_per_range = std::size_t{1} << 16;

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

Survey_Queue::Survey_Queue(std::vector<File_Survey>& files_)
    : files(files_), inWork(files_.size()) {}

std::optional<Survey_Range> Survey_Queue::take() {
    const std::lock_guard lock(mutex);
    while (!current && next_file < files.size()) {
        open(next_file++);
    }
    if (!current) {
        return std::nullopt;
    }
    const std::size_t nEvents = current->file.index().events.nRecords;
    const std::size_t first = next_event;
    next_event = std::min(first + events_per_range, nEvents);
    Survey_Range range{current, first, next_event, since_shift};
    if (next_event == nEvents) {
        current = nullptr;
    }
    return range;
}

void Survey_Queue::add(const Survey_Range& range, const Range_Survey& found) {
    const std::lock_guard lock(mutex);
    In_Work& file = *inWork[range.file->index];
    file.orders.emplace_back(range.first, found.order);
    file.events.add(found.events);
    file.photon_counts += found.photon_counts;
    file.psd_counts += found.psd_counts;
    if (file.events.nEvents == range.file->file.index().events.nRecords) {
        finish(range.file->index);
    }
}

void Survey_Queue::fail(const Survey_Range& range, const std::exception& failure) {
    const std::lock_guard lock(mutex);
    files[range.file->index].fault = failure.what();
    failedLate = true;
    if (current == range.file) {
        current = nullptr;
    }
}

void Survey_Queue::stop() {
    const std::lock_guard lock(mutex);
    current = nullptr;
    next_file = files.size();
}

void Survey_Queue::sum_up(Survey& survey) const {
    survey.total = total;
    if (!periods.empty()) {
        survey.total.triggers->median_period = periods.median();
    }
    std::tie(survey.nPhotons, survey.psd) = describe(survey.total, photon_counts, psd_counts);
}

void Survey_Queue::open(std::size_t index) {
    File_Survey& survey = files[index];
    if (survey.fault) {
        return;
    }
    Value_Sample periods_of_file;
    try {
        current = std::make_shared<const Surveyed_File>(index, survey.path, periods_of_file);
    } catch (const std::exception& failure) {
        survey.fault = failure.what();
        return;
    }
    survey.bytes = current->file.size();
    survey.summary.triggers = current->triggers;
    periods.add(periods_of_file);
    if (!since_shift && current->has_intervals()) {
        since_shift = shift_for(current->triggers->median_period);
    }
    inWork[index] = std::make_unique<In_Work>();
    next_event = 0;
    if (current->file.index().events.nRecords == 0) {
        current = nullptr;
        finish(index);
    }
}

void Survey_Queue::finish(std::size_t index) {
    const std::unique_ptr<In_Work> found = std::move(inWork[index]);
    Summary& summary = files[index].summary;
    summary.events = found->events;
    summary.events.nNaN = found->psd_counts.nNaN();
    std::ranges::sort(found->orders, {}, [](const auto& order) { return order.first; });
    for (const auto& [first, order] : found->orders) {
        summary.order.append(order);
    }
    describe(summary, found->photon_counts, found->psd_counts);

    total.events.add(summary.events);
    total.order.add(summary.order);
    if (summary.triggers) {
        add_triggers(total, *summary.triggers);
    }
    photon_counts += found->photon_counts;
    psd_counts += found->psd_counts;
}
