// What a programmer writes who knows the machine and needs just these two kinds of image: pieces,
// cells worked out for a whole piece without branches, then counted, either in counters of its own
// for each thread (`counters=private`) or by atomic additions to one image (`counters=shared`),
// fetched ahead in both cases.

#include "Counter_Memory.h"
#include "Work.h"

#include <algorithm>
#include <array>
#include <atomic>

namespace {

/// How many additions ahead a cell is fetched.
constexpr std::size_t ahead = 32;

/// The cells of a piece's events that are counted, and `ahead` valid cells after them.
struct Cells {
    std::size_t size = 0;
    std::array<std::size_t, piece_events + ahead> cells;
};

void find_cells_integrated(const Work& work, std::span<const Photon_Event> piece, Cells& found) {
    const Pixels pixel(work);
    const Bounds bounds = work.bounds;
    const std::size_t size = work.size;
    std::size_t used = 0;
    for (const Photon_Event& event : piece) {
        const std::uint32_t column = pixel(event.x.value);
        const std::uint32_t row = pixel(event.y.value);
        found.cells[used] = row * size + column;
        used += static_cast<std::size_t>(int{column < size} & int{row < size} &
                                         int{bounds.contain(event)});
    }
    found.size = used;
}

void find_cells_resolved(const Work& work, std::span<const Photon_Event> piece, Cells& found) {
    const Pixels pixel(work);
    const Bounds bounds = work.bounds;
    const std::size_t size = work.size;
    const std::size_t pages = work.pages;
    const std::int64_t ticks = work.ticks;
    std::size_t used = 0;
    for (const Photon_Event& event : piece) {
        const std::uint32_t column = pixel(event.y.value);
        const std::uint32_t row = pixel(event.x.value);
        const auto page = static_cast<std::size_t>(event.time.value / ticks);
        found.cells[used] = (page * size + row) * size + column;
        used += static_cast<std::size_t>(int{page < pages} & int{column < size} & int{row < size} &
                                         int{bounds.contain(event)});
    }
    found.size = used;
}

/// Finds the cells of all events, and calls `count(thread, counted, all)` for each piece.
template <class Count>
void for_each_cell_list(const Work& work, const Count& count) {
    for_each_piece(work, [&](std::size_t thread, std::span<const Photon_Event> piece) {
        Cells found;
        if (work.pages == 0) {
            find_cells_integrated(work, piece, found);
        } else {
            find_cells_resolved(work, piece, found);
        }
        std::fill_n(&found.cells[found.size], ahead, 0);
        count(thread, found);
    });
}

void count_private(const Work& work, std::span<std::uint32_t> image) {
    std::vector<Counter_Memory> others;
    for (std::size_t i = 1; i < work.threads; ++i) {
        others.emplace_back(work.nCells());
    }
    for_each_cell_list(work, [&](std::size_t thread, const Cells& found) {
        const std::span counters = thread == 0 ? image : others[thread - 1].cells();
        for (std::size_t i = 0; i < found.size; ++i) {
            __builtin_prefetch(&counters[found.cells[i + ahead]], 1);
            ++counters[found.cells[i]];
        }
    });
    run_threads(work.threads, [&](std::size_t thread) {
        const std::size_t begin = image.size() * thread / work.threads;
        const std::size_t end = image.size() * (thread + 1) / work.threads;
        for (const Counter_Memory& other : others) {
            for (std::size_t cell = begin; cell < end; ++cell) {
                image[cell] += other.cells()[cell];
            }
        }
    });
}

void count_shared(const Work& work, std::span<std::uint32_t> image) {
    for_each_cell_list(work, [&](std::size_t /*thread*/, const Cells& found) {
        for (std::size_t i = 0; i < found.size; ++i) {
            __builtin_prefetch(&image[found.cells[i + ahead]], 1);
            std::atomic_ref(image[found.cells[i]]).fetch_add(1, std::memory_order_relaxed);
        }
    });
}

}  // namespace

int main(int argc, char** argv) {
    const Work work(argc, argv);
    const Counter_Memory image(work.nCells());
    if (work.counters == "private") {
        count_private(work, image.cells());
    } else {
        count_shared(work, image.cells());
    }
    write_raw(work.output, image.cells());
}
