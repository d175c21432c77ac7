#include "reading/Counting_Task.h"

#include "binning/find_cells.h"

#include <algorithm>
#include <cassert>
#include <exception>
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

void Counting_Task::run(Work_Queue& queue) {
    while (std::optional<Event_Range> range = queue.take()) {
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

bool Counting_Task::add_intervals(Event_Range& range) {
    if (walked.lock() != range.input) {
        walked = range.input;
        walk.emplace(range.input->file, range.input->triggersAscend, range.input->firstFrame);
    }
    const auto visit = [this](std::span<const orven::Photon_Event> events,
                              const Interval& interval) { find(events, interval); };
    for (std::size_t i = range.first; i < range.end && (job.keepAccount || !walk->finished());
         i += piece_length) {
        const auto events = read_piece(range, i);
        if (range.turn) {
            take_turn(*range.turn, events);
        }
        const auto rest = walk->walk(events, job.filter, visit);
        if (job.keepAccount) {
            account.accepted += count_accepted(rest, job.filter);
        }
        count_found();
    }
    return job.keepAccount || !walk->finished();
}

void Counting_Task::take_turn(Turn& turn, std::span<const orven::Photon_Event> events) {
    const std::int64_t latest = latest_accepted(events, job.filter).value;
    const std::int64_t before = turn.number();
    turn.give(std::max(before, latest));
    walk->go_to(orven::Event_Time(before));
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
