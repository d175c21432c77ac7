#pragma once

#include "counting/Counting_Image.h"

#include <mpi.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <numeric>
#include <ranges>
#include <span>
#include <type_traits>
#include <vector>

/// The processes that work on one run. All of them call the same members in the same order, from
/// their main threads. Who waits for the others sleeps.
class Ranks {
public:
    /// Joins the others, unless the process was started alone. The effect of signals is what it was
    /// before.
    Ranks(int& argc, char**& argv);

    /// The number of this process; the first one, 0, is the one that users see.
    [[nodiscard]] std::size_t rank() const noexcept { return static_cast<std::size_t>(number); }
    /// Whether this process was started without MPI.
    [[nodiscard]] bool is_alone() const noexcept { return communicator == MPI_COMM_NULL; }
    [[nodiscard]] bool is_first() const noexcept { return number == 0; }
    [[nodiscard]] std::size_t size() const noexcept { return static_cast<std::size_t>(count); }

    /// Those of them that run on this machine.
    [[nodiscard]] Ranks on_this_machine() const;

    /// Does a step of the run on each rank, and returns when it has succeeded on all.
    /// Throws: on the lowest rank on which it failed, what it threw there. The others wait to be
    /// ended, as MPI does when a process ends that way.
    void together(const std::function<void()>& step) const;

    /// Returns the values of all ranks, less than 2 GiB together, in their order, to all of them.
    template <std::ranges::contiguous_range List, class T = std::ranges::range_value_t<List>>
    [[nodiscard]] std::vector<T> gather(const List& own) const {
        static_assert(std::is_trivially_copyable_v<T>);
        const std::vector<int> bytes = gather_sizes(std::span(own).size_bytes());
        const std::size_t sum = std::accumulate(bytes.begin(), bytes.end(), std::size_t{0});
        std::vector<T> all(sum / sizeof(T));
        gather_bytes(std::data(own), bytes, all.data());
        return all;
    }

    /// On the first rank: gives values to the others, which gather none at that time.
    template <std::ranges::contiguous_range List>
    void give(const List& values) const {
        static_cast<void>(gather(values));
    }

    /// Adds the counters of all ranks to those of the first, modulo 2^32.
    void add_up(std::span<Counter> counters) const;

    /// Leaves the others, when the run has ended well on all ranks.
    void leave() const;

private:
    explicit Ranks(MPI_Comm communicator_);

    /// Waits until all have come here.
    void meet() const;
    [[nodiscard]] std::vector<int> gather_sizes(std::size_t own) const;
    void gather_bytes(const void* own, const std::vector<int>& sizes, void* all) const;

    MPI_Comm communicator;
    int number = 0;
    int count = 1;
};
