#include "reading/Counting_Task.h"

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
      cells(std::make_unique_for_overwrite<std::size_t[]>(piece_length_)) {
    assert(piece_length > 0);
}

void Counting_Task::run(Work_Queue& queue, const std::function<void()>& found_work) {
    while (const std::optional<Event_Range> range = queue.take()) {
        found_work();
        const std::size_t fileIndex = range->input->index;
        found = {};
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
        walk.emplace(walk_of(*range.input));
    }
    for (std::size_t i = range.first; i < range.end && (job.keepAccount || !walk->finished());
         i += piece_length) {
        if (range.input->sharedWalk == nullptr) {
            walk_on(read_piece(range, i));
        } else {
            share_walk(*range.input->sharedWalk, range, i);
        }
        count_found();
    }
    return job.keepAccount || !walk->finished();
}

void Counting_Task::share_walk(Shared_Walk& shared, const Event_Range& range, std::size_t first) {
    const std::size_t number = first / piece_length;
    const auto began = Shared_Walk::Clock::now();
    const auto events = read_piece(range, first);
    const std::size_t first_accepted = walk_on(events);
    shared.put(number, walk->reached(), Shared_Walk::Clock::now() - began);
    const std::size_t start = shared.before(
        number, [&](std::size_t late) { return look_up_reached(*range.input, late); });
    // Otherwise a walk from `start` comes to the same interval at the first accepted event.
    if (first_accepted < start) {
        found = {};
        walk->go_to(start);
        walk_on(events);
    }
}

std::size_t Counting_Task::walk_on(std::span<const orven::Photon_Event> events) {
    std::size_t first_accepted = std::numeric_limits<std::size_t>::max();
    const auto rest =
        walk->walk(events, job.filter,
                   [&](std::span<const orven::Photon_Event> run, const Interval& interval) {
                       find(run, interval);
                       if (found.nAccepted > 0) {
                           first_accepted = std::min(first_accepted, walk->reached());
                       }
                   });
    if (job.keepAccount) {
        found.nAccepted += count_accepted(rest, job.filter);
    }
    return first_accepted;
}

std::size_t Counting_Task::look_up_reached(const Input& input, std::size_t range) const {
    std::array<orven::Photon_Event, 512> memory;
    Trigger_Walk late_walk = walk_of(input);
    const std::size_t end = (range + 1) * piece_length;
    for (std::size_t i = range * piece_length; i < end && !input.sharedWalk->knows(range);
         i += memory.size()) {
        const std::span events(memory.data(), std::min(memory.size(), end - i));
        input.file.read_events(i, events);
        late_walk.walk(events, job.filter, [](const auto& /*run*/, const auto& /*interval*/) {});
    }
    return late_walk.reached();
}

Trigger_Walk Counting_Task::walk_of(const Input& input) const noexcept {
    return {input.file, input.triggersAscend, input.firstFrame, end_frame(job.placement)};
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
    const std::span room(cells.get() + found.nCells, piece_length - found.nCells);
    const Found now = find_cells(job.placement, events, job.filter, interval, room);
    found.nAccepted += now.nAccepted;
    found.nCells += now.nCells;
}

void Counting_Task::count_found() noexcept {
    counter.count(std::span(cells.get(), found.nCells));
    account.accepted += found.nAccepted;
    account.counted += found.nCells;
    found = {};
}
