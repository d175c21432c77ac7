#pragma once

#include "system/Mutex.h"

#include <cstddef>
#include <limits>
#include <map>
#include <optional>
#include <vector>

/// What a walk along some events came to, in trigger intervals counted from the file's first.
struct Walked {
    static constexpr std::size_t no_interval = std::numeric_limits<std::size_t>::max();

    std::size_t start;                         ///< the one it began with
    std::size_t first_accepted = no_interval;  ///< that of the first accepted event, if it has one
    std::size_t reached;
};

/// A walk along which events were counted from too early an interval.
struct Wrong_Walk {
    std::size_t start;
    std::optional<std::size_t> right_start;  ///< empty if none of the events may count
};

/// Events from `first` to before `end` that were counted wrongly.
struct Wrong_Range {
    std::size_t first;
    std::size_t end;
    Wrong_Walk walk;
};

/// What the walks along the ranges of one file came to. The interval in which a range begins is the
/// prefix maximum: the latest that any range before it has reached. Tasks do not wait until it is
/// known: each walks its range from a lower bound of it, and enters the walk here, in any order.
/// When all ranges before one have been entered, it shows whether that bound was good enough.
/// Threads: any number may call all members.
class Walk_Ledger {
public:
    /// `first` is that of the events that are walked along.
    explicit Walk_Ledger(std::size_t first = 0) : known_events(first) {}

    /// A lower bound of the interval in which any range begins that has not been entered yet.
    /// When all have been entered, the one that the events have reached.
    [[nodiscard]] std::size_t lower_bound() const;

    /// The event from which on none counts, as it could not be read.
    [[nodiscard]] std::size_t get_readable_end() const;

    /// Enters the walk along a range, at most once for each event of the file. Returns the ranges
    /// of which this has shown that they were counted wrongly.
    /// Throws: std::bad_alloc.
    [[nodiscard]] std::vector<Wrong_Range> enter(std::size_t first, std::size_t end,
                                                 const Walked& walked);

    /// Tells that the event `first` cannot be read. In which intervals those behind it lie is never
    /// known: what has been entered of them is returned here, what will be by `enter`.
    /// Throws: std::bad_alloc.
    [[nodiscard]] std::vector<Wrong_Range> fail(std::size_t first);

private:
    struct Entry {
        std::size_t end;
        Walked walked;
    };

    [[nodiscard]] std::vector<Wrong_Range> close_gap() REQUIRES(mutex);
    [[nodiscard]] std::vector<Wrong_Range> drop_unreadable() REQUIRES(mutex);

    mutable Mutex mutex;
    /// The walks along ranges behind one that has not been entered, by their first event.
    std::map<std::size_t, Entry> entries GUARDED_BY(mutex);
    std::size_t known_events GUARDED_BY(mutex);        ///< all before have been entered
    std::size_t prefix_maximum GUARDED_BY(mutex) = 0;  ///< reached by these
    std::size_t readable_end GUARDED_BY(mutex) = std::numeric_limits<std::size_t>::max();
};
