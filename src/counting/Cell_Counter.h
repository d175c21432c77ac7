#pragma once

#include "counting/Counting_Image.h"
#include "counting/Image_Memory.h"

#include <array>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

/// Which task may count in a page of an image of frames: one at a time.
class Page_Locks {
public:
    explicit Page_Locks(std::size_t page_size_) noexcept : page_size(page_size_) {}

    /// How many cells a page has.
    [[nodiscard]] std::size_t cells_per_page() const noexcept { return page_size; }
    [[nodiscard]] std::mutex& lock_of(std::size_t page) noexcept {
        return locks[page % locks.size()];
    }

private:
    std::size_t page_size;
    std::array<std::mutex, 256> locks;  ///< so many that tasks at different pages seldom meet
};

/// Counts cells for one task: by plain additions in memory of its own, or, where others count in
/// the same memory, by atomic ones, or by plain ones page by page. Threads: one object per task.
class Cell_Counter {
public:
    /// `cells_` are those of the image, or counters of the task's own.
    Cell_Counter(std::span<Counter> cells_, bool shared_, Page_Locks* pages_ = nullptr) noexcept
        : cells(cells_), shared(shared_), pages(pages_) {}

    /// Adds 1 to each of these cells, given as positions in the image's storage order; all must lie
    /// in the image. Where pages have locks, those of a page must follow each other, and pages
    /// ascend.
    void count(std::span<const std::size_t> positions) noexcept;

    /// Subtracts 1 from each of these cells, under the same conditions. It may come before they are
    /// counted, or in the counters of another task: sums are modulo 2^32.
    void take_back(std::span<const std::size_t> positions) noexcept;

private:
    void add(std::span<const std::size_t> positions, unsigned int count) noexcept;
    void add_page_by_page(std::span<const std::size_t> positions, unsigned int count) noexcept;

    std::span<Counter> cells;
    bool shared;
    Page_Locks* pages;
};

using Counters = std::vector<Counter, Image_Allocator<Counter>>;

/// The memory that tasks count in: the image itself for one task. Several tasks count an image of
/// everyday size in counters of their own, as long as all of these together need only a small share
/// of the memory that is available. A larger image they share: frames page by page, others by
/// atomic additions.
class Private_Counters {
public:
    /// `frame_size` is the number of cells of a frame, where pages are frames.
    Private_Counters(std::span<Counter> image_, std::size_t nTasks_,
                     std::optional<std::size_t> frame_size);

    [[nodiscard]] Cell_Counter counter_of(std::size_t task) noexcept;

    /// Whether tasks count in the image itself.
    [[nodiscard]] bool empty() const noexcept { return counters.empty(); }

    /// What the counters of a task's own take; 0 where tasks count in the image itself.
    [[nodiscard]] std::size_t bytes_per_task() const noexcept {
        return counters.size() / nTasks * sizeof(Counter);
    }

    /// Adds one of `nUsed` parts of the counters of the first `nUsed` tasks to the image.
    /// Threads: each may merge a part of its own, when nobody counts any more.
    void merge_part(std::size_t part, std::size_t nUsed) noexcept;

private:
    std::span<Counter> image;
    std::size_t nTasks;
    std::unique_ptr<Page_Locks> pages;
    Counters counters;  ///< image after image; may be empty
};
