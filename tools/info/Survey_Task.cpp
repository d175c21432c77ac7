#include "Survey_Task.h"

#include "binning/find_cells.h"
#include "counting/Cell_Counter.h"
#include "reading/Counting_Task.h"

#include <algorithm>
#include <limits>

namespace {

/// So many events fit the counters of the image, wherever they lie.
constexpr std::uint64_t most_uncollected = std::numeric_limits<unsigned int>::max();

/// Adds to the counts of an interval from `open` on.
void count_times(std::span<const std::int64_t> times, std::int64_t open, Since_Trigger& since) {
    std::uint64_t* const counts = since.counts.data();
    const int shift = since.shift;
    std::uint64_t nBeyond = 0;
    for (const std::int64_t time : times) {
        const std::uint64_t bin =
            (static_cast<std::uint64_t>(time) - static_cast<std::uint64_t>(open)) >> shift;
        if (bin < Since_Trigger::nBins) {
            ++counts[bin];
        } else {
            ++nBeyond;
        }
    }
    since.nBeyond += nBeyond;
}

}  // namespace

void Range_Survey::clear() noexcept {
    events = {};
    order = {};
    photon_counts.clear();
    psd_counts.clear();
}

Survey_Task::Survey_Task(const Bounds& bounds)
    : placement(Integrated_Placement({Survey_Image::size, Survey_Image::size})),
      any_event({0, std::numeric_limits<std::uint64_t>::max()}, {}),
      bounded(bounds.any()),
      bounds_filter(bounds.filter()),
      piece(std::make_unique_for_overwrite<orven::Photon_Event[]>(events_per_piece)),
      cells(events_per_piece),
      pixels(Survey_Image::size * Survey_Image::size) {
    times.reserve(events_per_piece);
}

const Range_Survey& Survey_Task::survey(const Event_Range& range, std::optional<int> since_shift) {
    if (since_shift && range.first < range.end) {
        start_walk(range.input, *since_shift);
    }
    found.clear();
    for (std::size_t i = range.first; i < range.end; i += events_per_piece) {
        const std::span recorded(piece.get(), std::min(events_per_piece, range.end - i));
        range.input->file.read_events(i, recorded);
        const std::span events = accepted(recorded);
        if (events.empty()) {
            continue;
        }
        survey_piece(events);
        take_sample(events, (std::uint64_t{range.input->index} << 40U) + i);
        count_pixels(events);
        found.order.append(take_times(events));
        over_time.add(times);
        if (since_shift) {
            count_since_triggers(times);
        }
    }
    return found;
}

void Survey_Task::sum_up(Survey& survey) {
    collect_image();
    survey.sample.add(sample);
    survey.image.add(image);
    survey.over_time += over_time;
    if (since_trigger && survey.since_trigger) {
        survey.since_trigger->add(*since_trigger);
    } else if (since_trigger) {
        survey.since_trigger = since_trigger;
    }
}

std::span<const orven::Photon_Event> Survey_Task::accepted(
    std::span<orven::Photon_Event> events) const {
    if (!bounded) {
        return events;
    }
    const auto is_rejected = [this](const orven::Photon_Event& event) {
        return !bounds_filter.accepts(event);
    };
    return {events.begin(), std::remove_if(events.begin(), events.end(), is_rejected)};
}

void Survey_Task::start_walk(const std::shared_ptr<const Input>& input, int since_shift) {
    if (walked.lock() != input) {
        walked = input;
        triggers.emplace(input->file, true);
    }
    next_trigger = 0;
    if (!since_trigger) {
        since_trigger.emplace().shift = since_shift;
    }
}

void Survey_Task::survey_piece(std::span<const orven::Photon_Event> events) {
    found.events.nEvents += events.size();
    for (const orven::Photon_Event& event : events) {
        found.events.x.add(event.x.value);
        found.events.y.add(event.y.value);
        found.photon_counts.add(event.nPhotons);
        found.psd_counts.add(event.psd.value);
    }
}

void Survey_Task::take_sample(std::span<const orven::Photon_Event> events, std::uint64_t number) {
    for (const orven::Photon_Event& event : events) {
        sample.add(number++, {event.nPhotons, event.psd.value});
    }
}

void Survey_Task::count_pixels(std::span<const orven::Photon_Event> events) {
    if (nUncollected > most_uncollected - events.size()) {
        collect_image();
    }
    const Found inside = find_cells(placement, events, any_event, Interval{}, cells);
    Cell_Counter(pixels, false).count(std::span(cells).first(inside.nCells));
    image.nOutside += events.size() - inside.nCells;
    nUncollected += events.size();
}

void Survey_Task::collect_image() noexcept {
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        image.counts[i] += pixels[i].exchange(0);
    }
    nUncollected = 0;
}

Time_Order Survey_Task::take_times(std::span<const orven::Photon_Event> events) {
    times.resize(events.size());
    std::size_t nSteps_back = 0;
    std::int64_t before = events.front().time.value;
    for (std::size_t i = 0; i < events.size(); ++i) {
        times[i] = events[i].time.value;
        nSteps_back += times[i] < before ? 1 : 0;
        before = times[i];
    }
    if (nSteps_back == 0) {
        return {{times.front(), times.back()}, times.front(), times.back(), 0, 0};
    }
    Time_Order order;
    for (const std::int64_t time : times) {
        order.append({{time, time}, time, time, 0, 0});
    }
    std::ranges::sort(times);
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
            since_trigger->nAfter += ascending.size();
            return;
        }
        const std::size_t n = count_before(triggers->at(next_trigger).value);
        if (next_trigger == 0) {
            since_trigger->nBefore += n;
        } else {
            count_times(ascending.first(n), triggers->at(next_trigger - 1).value, *since_trigger);
        }
        ascending = ascending.subspan(n);
    }
}
