#include "reading/Counting_Task.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <exception>
#include <optional>
#include <vector>

namespace {

/// How many events of a range are read at first to correct it: walks meet after a few.
constexpr std::size_t first_length = 256;

/// Of how many events one is looked at closer: of all in small files, of 256 in large ones. As a
/// number of bits.
int block_bits_of(std::size_t nEvents) {
    constexpr std::size_t least_blocks = 1024;
    constexpr int most_bits = 8;
    return std::clamp(static_cast<int>(std::bit_width(nEvents / least_blocks)) - 1, 0, most_bits);
}

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
        block_bits = block_bits_of(range->input->file.index().events.nRecords);
        try {
            if (job.mode == Image_Settings::ignore) {
                add_events(*range);
            } else if (!range->wrong) {
                add_intervals(*range, queue);
            } else if (range->wrong->right_start) {
                correct(*range);
            } else {
                take_back(*range);
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
        count_found();
        note_read(events.size());
    }
}

void Counting_Task::add_intervals(const Event_Range& range, Work_Queue& queue) {
    Walk_Ledger& ledger = *range.input->ledger;
    const auto put_back = [&](const std::vector<Wrong_Range>& all) {
        for (const auto& [first, end, wrong] : all) {
            queue.put_back({range.input, first, end, wrong});
        }
    };
    Walked_Part part{};
    try {
        walk_along(range, part);
    } catch (const std::exception&) {
        put_back(ledger.enter(range.first, part.end, part.walked));
        put_back(ledger.fail(part.end));
        throw;
    }
    put_back(ledger.enter(range.first, range.end, part.walked));
    if (walk->finished() && !job.keepAccount) {
        queue.finish(range.input->index);
    }
}

void Counting_Task::walk_along(const Event_Range& range, Walked_Part& part) {
    if (walked.lock() != range.input) {
        walked = range.input;
        walk.emplace(walk_of(*range.input));
    }
    // Where the task's own last range ended is a lower bound as well.
    walk->go_to(std::max(walk->reached(), range.input->ledger->lower_bound()));
    part = {{walk->reached(), Walked::no_interval, walk->reached()}, range.first};
    while (part.end < range.end && (job.keepAccount || !walk->finished())) {
        const auto events = read_piece(range, part.end, piece_length);
        const std::size_t first_accepted = find_along(*walk, events);
        count_found();
        note_read(events.size());
        part.walked.first_accepted = std::min(part.walked.first_accepted, first_accepted);
        part.walked.reached = walk->reached();
        part.end += events.size();
    }
}

void Counting_Task::correct(const Event_Range& range) {
    Trigger_Walk wrong = walk_of(*range.input);
    Trigger_Walk right = walk_of(*range.input);
    wrong.go_to(range.wrong->start);
    right.go_to(*range.wrong->right_start);
    const auto apart = [&] { return wrong.reached() != right.reached() && !wrong.finished(); };
    std::size_t next = range.first;
    std::size_t length = std::min(first_length, piece_length);
    while (next < range.end && apart()) {
        const auto events = read_piece(range, next, length);
        find_along(wrong, events);
        take_back_found();
        find_along(right, events);
        count_found();
        next += events.size();
        length = std::min(2 * length, piece_length);
    }
}

void Counting_Task::take_back(const Event_Range& range) {
    Trigger_Walk wrong = walk_of(*range.input);
    wrong.go_to(range.wrong->start);
    std::size_t next = range.first;
    while (next < range.end && (job.keepAccount || !wrong.finished())) {
        const auto events = read_piece(range, next, piece_length);
        find_along(wrong, events);
        take_back_found();
        account.recorded -= events.size();
        next += events.size();
    }
}

std::size_t Counting_Task::find_along(Trigger_Walk& along,
                                      std::span<const orven::Photon_Event> events) {
    std::size_t first_accepted = Walked::no_interval;
    const auto rest =
        along.walk(events, job.filter,
                   [&](std::span<const orven::Photon_Event> run, const Interval& interval) {
                       find(run, interval);
                       if (found.accepted > 0) {
                           first_accepted = std::min(first_accepted, along.reached());
                       }
                   });
    found.accepted += count_accepted(rest, job.filter);
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
    piece_first = first;
    return events;
}

void Counting_Task::find(std::span<const orven::Photon_Event> events, const Interval& interval) {
    const std::span room(cells.get() + found.counted, piece_length - found.counted);
    const Found now = find_cells(job.placement, events, job.filter, interval, room);
    found.accepted += now.nAccepted;
    found.counted += now.nCells;
    sample(events, interval);
}

void Counting_Task::sample(std::span<const orven::Photon_Event> events, const Interval& interval) {
    // Never the same place in all blocks: detectors may write their parts in turn.
    constexpr std::size_t odd = 37;
    const std::size_t length = std::size_t{1} << block_bits;
    const std::size_t first = piece_first + static_cast<std::size_t>(events.data() - piece.get());
    const std::size_t end = first + events.size();
    for (std::size_t block = first >> block_bits; block << block_bits < end; ++block) {
        const std::size_t index = (block << block_bits) + (block * odd & (length - 1));
        if (index >= first && index < end) {
            look_closer(events[index - first], interval, length);
        }
    }
}

void Counting_Task::look_closer(const orven::Photon_Event& event, const Interval& interval,
                                std::size_t weight) {
    const orven::Event_Time time = interval.relative(event.time);
    if (job.filter.accepts(event) && is_inside(job.placement, event, time, interval.frameIndex)) {
        found.sampled += weight;
        found.early += is_early(job.placement, event, time) ? weight : 0;
    }
}

void Counting_Task::count_found() {
    counter.count(std::span(cells.get(), found.counted));
    account += found;
    found = {};
}

void Counting_Task::take_back_found() {
    counter.take_back(std::span(cells.get(), found.counted));
    account -= found;
    found = {};
}

void Counting_Task::note_read(std::size_t nEvents) {
    account.recorded += nEvents;
    if (job.nRead != nullptr) {
        job.nRead->add(nEvents);
    }
}
