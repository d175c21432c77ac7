#include "Survey_Task.h"

#include "survey_triggers.h"

#include <algorithm>
#include <limits>

namespace {

/// How many events are read at a time: few enough to stay in a core's cache.
constexpr std::size_t events_per_piece = 8192;

void count_pixels(std::span<const orven::Photon_Event> events, Survey_Image& image) {
    constexpr auto size = static_cast<std::uint32_t>(Survey_Image::size);
    constexpr auto width = static_cast<std::uint32_t>(orven::Event_Length::units_per_pixel);
    for (const orven::Photon_Event& event : events) {
        const std::uint32_t column = static_cast<std::uint32_t>(event.x.value) / width;
        const std::uint32_t row = static_cast<std::uint32_t>(event.y.value) / width;
        if (column < size && row < size) {
            ++image.counts[row * size + column];
        } else {
            ++image.nOutside;
        }
    }
}

/// Adds to the counts of an interval from `open` on.
void count_times(std::span<const std::int64_t> times, std::int64_t open, Since_Trigger& since) {
    const double reciprocal = 1.0 / static_cast<double>(since.bin_width);
    for (const std::int64_t time : times) {
        const std::uint64_t relative =
            static_cast<std::uint64_t>(time) - static_cast<std::uint64_t>(open);
        const double bin = static_cast<double>(relative) * reciprocal;
        if (bin < static_cast<double>(Since_Trigger::nBins)) {
            ++since.counts[static_cast<std::size_t>(bin)];
        } else {
            ++since.nBeyond;
        }
    }
}

}  // namespace

Surveyed_File::Surveyed_File(std::size_t index_, const std::string& path)
    : index(index_), file(path) {
    if (file.index().extTriggers) {
        triggers = survey_triggers(file, periods);
    }
}

bool Surveyed_File::has_intervals() const noexcept {
    return triggers && triggers->nPulses > 1 && triggers->order.nSteps_back == 0 &&
           triggers->median_period > 0;
}

void Range_Survey::clear() noexcept {
    events = {};
    order = {};
    photon_counts.clear();
    psd_counts.clear();
}

Survey_Task::Survey_Task()
    : piece(std::make_unique_for_overwrite<orven::Photon_Event[]>(events_per_piece)) {
    times.reserve(events_per_piece);
}

const Range_Survey& Survey_Task::survey(const Survey_Range& range) {
    const bool count_since = range.since_bin_width && range.file->has_intervals();
    if (count_since) {
        start_walk(range);
    }
    found.clear();
    for (std::size_t i = range.first; i < range.end; i += events_per_piece) {
        const std::span events(piece.get(), std::min(events_per_piece, range.end - i));
        range.file->file.read_events(i, events);
        survey_piece(events);
        const Time_Order order = take_times(events);
        found.order.append(order);
        over_time.add(times, order.times.smallest, order.times.largest);
        if (count_since) {
            if (order.nSteps_back > 0) {
                std::ranges::sort(times);
            }
            count_since_triggers(times);
        }
    }
    return found;
}

void Survey_Task::sum_up(Survey& survey) const {
    survey.image.add(image);
    survey.over_time += over_time;
    if (since_trigger && survey.since_trigger) {
        survey.since_trigger->add(*since_trigger);
    } else if (since_trigger) {
        survey.since_trigger = since_trigger;
    }
}

void Survey_Task::start_walk(const Survey_Range& range) {
    if (walked != range.file) {
        walked = range.file;
        triggers.emplace(walked->file, true);
    }
    next_trigger = 0;
    if (!since_trigger) {
        since_trigger.emplace().bin_width = *range.since_bin_width;
    }
}

void Survey_Task::survey_piece(std::span<const orven::Photon_Event> events) {
    Event_Summary extents;
    extents.nEvents = events.size();
    for (const orven::Photon_Event& event : events) {
        extents.x.add(event.x.value);
        extents.y.add(event.y.value);
        extents.nPhotons.add(event.nPhotons);
        extents.psd.add(event.psd.value);
    }
    for (const orven::Photon_Event& event : events) {
        found.photon_counts.add(static_cast<double>(event.nPhotons));
        found.psd_counts.add(event.psd.value);
    }
    found.events.add(extents);
    count_pixels(events, image);
}

Time_Order Survey_Task::take_times(std::span<const orven::Photon_Event> events) {
    times.resize(events.size());
    std::ranges::transform(events, times.begin(),
                           [](const orven::Photon_Event& event) { return event.time.value; });
    Time_Order order{{times.front(), times.front()}, times.front(), times.back(), 0, 0};
    for (const std::int64_t time : times) {
        const std::int64_t before = order.times.largest;
        order.times.add(time);
        const std::uint64_t back =
            before > time ? static_cast<std::uint64_t>(before) - static_cast<std::uint64_t>(time)
                          : 0;
        order.furthest_back = std::max(order.furthest_back, back);
    }
    for (std::size_t i = 1; i < times.size(); ++i) {
        order.nSteps_back += times[i] < times[i - 1] ? 1 : 0;
    }
    return order;
}

void Survey_Task::count_since_triggers(std::span<const std::int64_t> ascending) {
    const std::size_t nTriggers = triggers->size();
    const auto count_before = [&](std::int64_t end) {
        return static_cast<std::size_t>(std::ranges::lower_bound(ascending, end) -
                                        ascending.begin());
    };
    while (!ascending.empty()) {
        const orven::Event_Time time(ascending.front());
        const bool went_back = next_trigger > 0 && time < triggers->at(next_trigger - 1);
        next_trigger = triggers->first_after(time, went_back ? 0 : next_trigger);
        if (next_trigger == nTriggers) {
            since_trigger->nWithout += ascending.size();
            return;
        }
        const std::size_t n = count_before(triggers->at(next_trigger).value);
        if (next_trigger == 0) {
            since_trigger->nWithout += n;
        } else {
            count_times(ascending.first(n), triggers->at(next_trigger - 1).value, *since_trigger);
        }
        ascending = ascending.subspan(n);
    }
}
