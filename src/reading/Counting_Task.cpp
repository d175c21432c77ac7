#include "reading/Counting_Task.h"

#include "reading/Trigger_Walk.h"

#include <algorithm>
#include <cassert>
#include <exception>
#include <optional>

Counting_Task::Counting_Task(const Counting_Job& job_, Image_Use use, std::size_t piece_length_)
    : job(job_),
      counter(job_.cells, use),
      piece_length(piece_length_),
      piece(std::make_unique_for_overwrite<orven::Photon_Event[]>(piece_length_)),
      found(std::make_unique_for_overwrite<std::size_t[]>(piece_length_)) {
    assert(piece_length > 0);
}

void Counting_Task::run(Work_Queue& queue) {
    while (const std::optional<Event_Range> range = queue.take()) {
        try {
            add(*range);
        } catch (const std::exception&) {
            queue.fail(range->fileIndex, std::current_exception());
        }
    }
}

void Counting_Task::add(const Event_Range& range) {
    nFound = 0;
    if (job.mode == Parameters::ignore) {
        add_events(range);
    } else {
        add_intervals(range);
    }
}

void Counting_Task::add_events(const Event_Range& range) {
    for (std::size_t i = range.first; i < range.end; i += piece_length) {
        find(read_piece(range, i), Interval{});
        count_found();
    }
}

void Counting_Task::add_intervals(const Event_Range& range) {
    Trigger_Walk walk(*range.file, range.triggersAscend, range.firstFrame);
    const auto place = [this](std::span<const orven::Photon_Event> events,
                              const Interval& interval) { find(events, interval); };
    for (std::size_t i = range.first; i < range.end && (job.keepAccount || !walk.finished());
         i += piece_length) {
        const auto rest = walk.walk(read_piece(range, i), job.filter, place);
        if (job.keepAccount) {
            account.accepted += count_accepted(rest, job.filter);
        }
        count_found();
    }
    nIntervals += walk.nIntervals();
}

std::span<const orven::Photon_Event> Counting_Task::read_piece(const Event_Range& range,
                                                               std::size_t first) {
    const std::span events(piece.get(), std::min(piece_length, range.end - first));
    range.file->read_events(first, events);
    account.recorded += events.size();
    return events;
}

void Counting_Task::find(std::span<const orven::Photon_Event> events,
                         const Interval& interval) noexcept {
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
