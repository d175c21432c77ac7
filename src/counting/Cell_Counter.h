#pragma once

#include "counting/Counting_Image.h"
#include "counting/Image_Memory.h"

#include <cstddef>
#include <span>
#include <vector>

/// Counts cells for one task, with plain additions, or with atomic ones where others count into the
/// same memory.
/// Threads: one object per task.
class Cell_Counter {
public:
    /// `cells_` are those of the image, or counters of the task's own.
    Cell_Counter(std::span<Counter> cells_, bool atomic_) noexcept
        : cells(cells_), atomic(atomic_) {}

    /// Adds 1 to each of these cells, given as positions in the image's storage order; all must lie
    /// in the image.
    void count(std::span<const std::size_t> positions) noexcept;

private:
    std::span<Counter> cells;
    bool atomic;
};

using Counters = std::vector<Counter, Image_Allocator<Counter>>;

/// The memory that tasks count in: the image itself for one task. Several tasks count an image of
/// everyday size in counters of their own, as long as all of these together need only a small share
/// of the memory that is available, and a larger image by atomic additions.
class Private_Counters {
public:
    Private_Counters(std::span<Counter> image_, std::size_t nTasks_);

    [[nodiscard]] Cell_Counter counter_of(std::size_t task) noexcept;

    /// Adds one of `nUsed` parts of the counters of the first `nUsed` tasks to the image.
    /// Threads: each may merge a part of its own, when nobody counts any more.
    void merge_part(std::size_t part, std::size_t nUsed) noexcept;

private:
    std::span<Counter> image;
    std::size_t nTasks;
    Counters counters;  ///< image after image; may be empty
};
