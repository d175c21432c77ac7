#include "reading/Counting_Task.h"

#include "binning/find_cells.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <exception>
#include <limits>
#include <optional>

Counting_Task::Counting_Task(const Counting_Job& job_,  // NOLINT(modernize-pass-by-value): shared
                             Cell_Counter counter_, std::size_t piece_length_)
    : job(job_),
      counter(counter_),
      piece_length(piece_length_),
      piece(std::make_unique_for_overwrite<orven::Photon_Event[]>(piece_length_)),
      found(std::make_unique_for_overwrite<std::size_t[]>(piece_length_)) {
    assert(piece_length > 0);
}

void Counting_Task::run(Work_Queue& queue, const std::function<void()>& found_work) {
    while (const std::optional<Event_Range> range = queue.take()) {
        found_work();
        const std::size_t fileIndex = range->input->index;
        nFound = 0;
        try {
            if (job.mode == Parameters::ignore) {
                add_events(*range);
            } else if (!add_intervals(*range)) {
                queue.finish(fileIndex);
            }
        } catch (const std::exception&) {
            queue.fail(fileIndex, std::current_exception());
        }
    }
}

void Counting_Task::add_events(const Event_Range& range) {
    for (std::size_t i = range.first; i < range.end; i += piece_length) {
        find(read_piece(range, i), Interval{});
        count_found();
    }
}

bool Counting_Task::add_intervals(const Event_Range& range) {
    if (walked.lock() != range.input) {
        walked = range.input;
        walk.emplace(range.input->file, range.input->triggersAscend, range.input->firstFrame,
                     end_frame(job.placement));
    }
    const auto visit = [this](std::span<const orven::Photon_Event> events,
                              const Interval& interval) { find(events, interval); };
    for (std::size_t i = range.first; i < range.end && (job.keepAccount || !walk->finished());
         i += piece_length) {
        const auto began = Latest_Times::Clock::now();
        const auto events = read_piece(range, i);
        if (range.input->latestTimes != nullptr) {
            walk->go_to(latest_before(range, events, began));
        }
        const auto rest = walk->walk(events, job.filter, visit);
        if (job.keepAccount) {
            account.accepted += count_accepted(rest, job.filter);
        }
        count_found();
    }
    return job.keepAccount || !walk->finished();
}

orven::Event_Time Counting_Task::latest_before(const Event_Range& range,
                                               std::span<const orven::Photon_Event> events,
                                               Latest_Times::Clock::time_point began) const {
    Latest_Times& times = *range.input->latestTimes;
    const std::size_t number = range.first / piece_length;
    const orven::Event_Time latest = latest_accepted(events, job.filter);
    times.put(number, latest, Latest_Times::Clock::now() - began);
    return times.before(number,
                        [&](std::size_t earlier) { return look_up_latest(*range.input, earlier); });
}

orven::Event_Time Counting_Task::look_up_latest(const Input& input, std::size_t range) const {
    std::array<orven::Photon_Event, 512> memory;
    const std::size_t end = (range + 1) * piece_length;
    orven::Event_Time latest(std::numeric_limits<long>::min());
    for (std::size_t i = range * piece_length; i < end && !input.latestTimes->knows(range);
         i += memory.size()) {
        const std::span events(memory.data(), std::min(memory.size(), end - i));
        input.file.read_events(i, events);
        latest = std::max(latest, latest_accepted(events, job.filter));
    }
    return latest;
}

std::span<const orven::Photon_Event> Counting_Task::read_piece(const Event_Range& range,
                                                               std::size_t first) {
    const std::span events(piece.get(), std::min(piece_length, range.end - first));
    range.input->file.read_events(first, events);
    account.recorded += events.size();
    if (job.nRead != nullptr) {
        job.nRead->add(events.size());
    }
    return events;
}

void Counting_Task::find(std::span<const orven::Photon_Event> events, const Interval& interval) {
    const std::span room(found.get() + nFound, piece_length - nFound);
    const Found now = find_cells(job.placement, events, job.filter, interval, room);
    nFound += now.nCells;
    account.accepted += now.nAccepted;
}

void Counting_Task::count_found() noexcept {
    counter.count(std::span(found.get(), nFound));
    account.counted += nFound;
    nFound = 0;
}
