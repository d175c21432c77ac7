#include "counting/Cell_Counter.h"

#include <algorithm>
#include <atomic>

namespace {

/// Images up to this size are counted privately: the counters of a task then fit a core's cache.
constexpr std::size_t own_counters_max_bytes = std::size_t{2} << 20;

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
void add_each(Counter* counters, std::span<const std::size_t> cells) noexcept {
    const std::size_t nAhead = cells.size() - std::min(cells.size(), prefetch_distance);
    std::size_t i = 0;
    for (; i < nAhead; ++i) {
        __builtin_prefetch(&counters[cells[i + prefetch_distance]], 1);
        add(counters[cells[i]], 1);
    }
    for (; i < cells.size(); ++i) {
        add(counters[cells[i]], 1);
    }
}

}  // namespace

Cell_Counter::Cell_Counter(std::span<Counter> image_, Image_Use use)
    : image(image_),
      atomic(use == Image_Use::shared && image.size_bytes() > own_counters_max_bytes),
      own(use == Image_Use::shared && !atomic ? image.size() : 0) {}

void Cell_Counter::count(std::span<const std::size_t> cells) noexcept {
    if (atomic) {
        add_each<add_atomic>(image.data(), cells);
    } else if (own.empty()) {
        add_each<add_plain>(image.data(), cells);
    } else {
        add_each<add_plain>(own.data(), cells);
        own_used = true;
    }
}

void Cell_Counter::merge() noexcept {
    if (!own_used) {
        return;
    }
    for (std::size_t cell = 0; cell < own.size(); ++cell) {
        add_plain(image[cell], own[cell].load(std::memory_order_relaxed));
    }
}
