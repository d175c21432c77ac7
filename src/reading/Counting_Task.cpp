#include "reading/Counting_Task.h"

#include <algorithm>
#include <cassert>
#include <exception>
#include <optional>
#include <utility>

namespace {

/// How many events of a range are walked at first to correct it: walks meet after a few.
constexpr std::size_t first_corrected = 256;

}  // namespace

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
        found = {};
        try {
            if (job.mode == Parameters::ignore) {
                add_events(*range);
            } else if (range->wrong) {
                correct(*range);
            } else {
                add_intervals(*range, queue);
            }
        } catch (const std::exception&) {
            queue.fail(range->input->index, std::current_exception());
        }
    }
}

void Counting_Task::add_events(const Event_Range& range) {
    for (std::size_t i = range.first; i < range.end; i += piece_length) {
        const auto events = read_piece(range, i, piece_length);
        find(events, Interval{});
        count_found(events.size());
    }
}

void Counting_Task::add_intervals(const Event_Range& range, Work_Queue& queue) {
    const Walked came_to = walk_along(range);
    for (const Wrong_Walk& wrong : range.input->ledger.enter(range.first, range.end, came_to)) {
        queue.put_back({range.input, wrong.first, wrong.end, wrong});
    }
    if (walk->finished() && !job.keepAccount) {
        queue.finish(range.input->index);
    }
}

Walked Counting_Task::walk_along(const Event_Range& range) {
    if (walked.lock() != range.input) {
        walked = range.input;
        walk.emplace(walk_of(*range.input));
    }
    // Where the task's own last range ended is a lower bound as well.
    walk->go_to(std::max(walk->reached(), range.input->ledger.lower_bound()));
    Walked came_to{walk->reached(), Walked::no_interval, {}};
    for (std::size_t i = range.first; i < range.end && (job.keepAccount || !walk->finished());
         i += piece_length) {
        const auto events = read_piece(range, i, piece_length);
        came_to.first_accepted = std::min(came_to.first_accepted, find_along(*walk, events));
        count_found(events.size());
    }
    came_to.reached = walk->reached();
    return came_to;
}

void Counting_Task::correct(const Event_Range& range) {
    Trigger_Walk wrong = walk_of(*range.input);
    Trigger_Walk right = walk_of(*range.input);
    wrong.go_to(range.wrong->wrong_start);
    right.go_to(range.wrong->right_start);
    const auto apart = [&] { return wrong.reached() != right.reached() && !wrong.finished(); };
    std::size_t next = range.first;
    std::size_t length = std::min(first_corrected, piece_length);
    while (next < range.end && apart()) {
        const auto events = read_piece(range, next, length);
        find_along(wrong, events);
        counter.take_back(found_cells());
        account.counted -= std::exchange(found, {}).nCells;
        find_along(right, events);
        counter.count(found_cells());
        account.counted += std::exchange(found, {}).nCells;
        next += events.size();
        length = std::min(2 * length, piece_length);
    }
}

std::size_t Counting_Task::find_along(Trigger_Walk& along,
                                      std::span<const orven::Photon_Event> events) {
    std::size_t first_accepted = Walked::no_interval;
    const auto rest =
        along.walk(events, job.filter,
                   [&](std::span<const orven::Photon_Event> run, const Interval& interval) {
                       find(run, interval);
                       if (found.nAccepted > 0) {
                           first_accepted = std::min(first_accepted, along.reached());
                       }
                   });
    if (job.keepAccount) {
        found.nAccepted += count_accepted(rest, job.filter);
    }
    return first_accepted;
}

Trigger_Walk Counting_Task::walk_of(const Input& input) const noexcept {
    return {input.file, input.shared, input.firstFrame, end_frame(job.placement)};
}

std::span<const orven::Photon_Event> Counting_Task::read_piece(const Event_Range& range,
                                                               std::size_t first,
                                                               std::size_t length) {
    const std::span events(piece.get(), std::min(length, range.end - first));
    range.input->file.read_events(first, events);
    return events;
}

void Counting_Task::find(std::span<const orven::Photon_Event> events, const Interval& interval) {
    const std::span room(cells.get() + found.nCells, piece_length - found.nCells);
    const Found now = find_cells(job.placement, events, job.filter, interval, room);
    found.nAccepted += now.nAccepted;
    found.nCells += now.nCells;
}

void Counting_Task::count_found(std::size_t nRead) {
    counter.count(found_cells());
    account.recorded += nRead;
    account.accepted += found.nAccepted;
    account.counted += found.nCells;
    found = {};
    if (job.nRead != nullptr) {
        job.nRead->add(nRead);
    }
}

std::span<const std::size_t> Counting_Task::found_cells() const noexcept {
    return {cells.get(), found.nCells};
}
