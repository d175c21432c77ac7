#include "counting/Cell_Counter.h"

#include "system/Available_Memory.h"

#include <algorithm>
#include <atomic>
#include <limits>
#include <new>

namespace {

/// Larger images gain nothing from private counters, which must be added up.
constexpr std::size_t private_max_bytes = std::size_t{32} << 20;

/// All private counters together get this part of the memory that is available.
constexpr std::size_t memory_share = 16;

/// The private counters of all tasks; none where they are not worth it, or cannot be had.
Counters private_counters(std::size_t nCells, std::size_t nTasks) {
    const std::size_t bytes = nCells * sizeof(Counter);
    if (nTasks == 1 || bytes > private_max_bytes ||
        bytes * nTasks > available_memory() / memory_share) {
        return {};
    }
    try {
        return Counters(nCells * nTasks);
    } catch (const std::bad_alloc&) {
        return {};
    }
}

/// How many additions ahead a cell is fetched: enough to hide one memory access.
constexpr std::size_t prefetch_distance = 32;

void add_atomic(Counter& counter, unsigned int count) noexcept {
    counter.fetch_add(count);
}

/// For counters that no other thread changes.
void add_plain(Counter& counter, unsigned int count) noexcept {
    counter.store(counter.load(std::memory_order_relaxed) + count, std::memory_order_relaxed);
}

template <auto add>
void add_each(Counter* counters, std::span<const std::size_t> cells, unsigned int count) noexcept {
    const std::size_t nAhead = cells.size() - std::min(cells.size(), prefetch_distance);
    std::size_t i = 0;
    for (; i < nAhead; ++i) {
        __builtin_prefetch(&counters[cells[i + prefetch_distance]], 1);
        add(counters[cells[i]], count);
    }
    for (; i < cells.size(); ++i) {
        add(counters[cells[i]], count);
    }
}

}  // namespace

void Cell_Counter::count(std::span<const std::size_t> positions) noexcept {
    add(positions, 1);
}

void Cell_Counter::take_back(std::span<const std::size_t> positions) noexcept {
    constexpr unsigned int minus_one = std::numeric_limits<unsigned int>::max();
    add(positions, minus_one);
}

void Cell_Counter::add(std::span<const std::size_t> positions, unsigned int count) noexcept {
    if (!shared) {
        add_each<add_plain>(cells.data(), positions, count);
    } else if (pages != nullptr) {
        add_page_by_page(positions, count);
    } else {
        add_each<add_atomic>(cells.data(), positions, count);
    }
}

void Cell_Counter::add_page_by_page(std::span<const std::size_t> positions,
                                    unsigned int count) noexcept {
    while (!positions.empty()) {
        const std::size_t page = positions.front() / pages->cells_per_page();
        const std::size_t page_end = (page + 1) * pages->cells_per_page();
        const auto end = std::ranges::partition_point(
            positions, [page_end](std::size_t position) { return position < page_end; });
        const auto n = static_cast<std::size_t>(end - positions.begin());
        const std::lock_guard lock(pages->lock_of(page));
        add_each<add_plain>(cells.data(), positions.first(n), count);
        positions = positions.subspan(n);
    }
}

Private_Counters::Private_Counters(std::span<Counter> image_, std::size_t nTasks_,
                                   std::optional<std::size_t> frame_size)
    : image(image_),
      nTasks(nTasks_),
      pages(frame_size ? std::make_unique<Page_Locks>(*frame_size) : nullptr),
      counters(private_counters(image_.size(), nTasks_)) {}

Cell_Counter Private_Counters::counter_of(std::size_t task) noexcept {
    if (counters.empty()) {
        return {image, nTasks > 1, pages.get()};
    }
    return {std::span(counters).subspan(task * image.size(), image.size()), false};
}

void Private_Counters::merge_part(std::size_t part, std::size_t nUsed) noexcept {
    const std::size_t begin = image.size() * part / nUsed;
    const std::size_t end = image.size() * (part + 1) / nUsed;
    for (std::size_t task = 0; task < nUsed; ++task) {
        const Counter* const own = &counters[task * image.size()];
        for (std::size_t cell = begin; cell < end; ++cell) {
            add_plain(image[cell], own[cell].load(std::memory_order_relaxed));
        }
    }
}
