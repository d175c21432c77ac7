#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <vector>

/// What became of events.
struct Event_Account {
    std::uint64_t recorded = 0;  ///< in the files, as far as they were read
    std::uint64_t accepted = 0;  ///< of these, passed by the filter
    std::uint64_t counted = 0;   ///< of these, counted in the image
    std::uint64_t sampled = 0;   ///< of these, evenly chosen ones of which is known more
    std::uint64_t early = 0;     ///< those up to one bin before the first, in which they count

    /// Kept out by the filter.
    [[nodiscard]] std::uint64_t rejected() const noexcept { return recorded - accepted; }
    /// Passed by the filter, and outside the image, its time bins or all trigger intervals.
    [[nodiscard]] std::uint64_t outside() const noexcept { return accepted - counted; }

    /// Takes back what was added before; until then, numbers may wrap.
    Event_Account& operator-=(const Event_Account& other) noexcept {
        recorded -= other.recorded;
        accepted -= other.accepted;
        counted -= other.counted;
        sampled -= other.sampled;
        early -= other.early;
        return *this;
    }
    Event_Account& operator+=(const Event_Account& other) noexcept {
        recorded += other.recorded;
        accepted += other.accepted;
        counted += other.counted;
        sampled += other.sampled;
        early += other.early;
        return *this;
    }
};

/// What a failure, which must be a std::exception, says.
[[nodiscard]] inline std::string message_of(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception& exception) {
        return exception.what();
    }
}

/// What was found of one file, or why it could not be read.
struct File_Account {
    std::int64_t bytes = 0;
    std::size_t nEvents = 0;
    std::optional<std::size_t> nTriggers;  ///< empty if recorded without trigger input
    std::exception_ptr failure;
};

/// What a run has counted.
struct Run_Account {
    std::size_t nIntervals = 0;       ///< trigger intervals of all files that did not fail
    Event_Account events;             ///< of all events only if the run was asked for it
    std::vector<File_Account> files;  ///< in list order
};
