// From events to counts: filter and placement, counting, and the trigger walk.

#include "Sample.h"
#include "binning/Placement.h"
#include "binning/find_cells.h"
#include "counting/Cell_Counter.h"
#include "reading/Trigger_Walk.h"

#include <hwy/targets.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

/// So many pieces stay in a core's cache, as pieces do that were just read.
constexpr std::size_t nCached = 4;

/// A kind of image: where events belong, and the cell of an event by plain division.
struct Image {
    Placement placement;
    std::size_t nCells;
    long (*plain_cell)(const Photon_Event&);
};

/// 1 MiB, which a core's cache holds.
const Image& small_image() {
    static const Image image{Integrated_Placement({512, 512}), std::size_t{512} * 512,
                             [](const Photon_Event& event) {
                                 return event.y.value / 32'768 * 512L + event.x.value / 32'768;
                             }};
    return image;
}

/// 500 MiB.
const Image& large_image() {
    static const Image image{Time_Bin_Placement({256, 256, 2000, false}, {7.8125e-5}),
                             std::size_t{2000} * 256 * 256, [](const Photon_Event& event) {
                                 return event.time.value / 50'000 * 65'536 +
                                        event.x.value / 65'536 * 256L + event.y.value / 65'536;
                             }};
    return image;
}

/// All events fall into one frame.
constexpr Interval frame{orven::Event_Time(0), 7};
const Image& frame_image() {
    static const Image image{Frame_Placement({128, 128, 1000, false}, {1}),
                             std::size_t{1000} * 128 * 128, [](const Photon_Event& event) {
                                 return 7L * 16'384 + event.x.value / 131'072 * 128L +
                                        event.y.value / 131'072;
                             }};
    return image;
}

std::vector<std::size_t> plain_cells(const Image& image, std::size_t piece) {
    std::vector<std::size_t> cells;
    for (const Photon_Event& event : sample_piece(piece)) {
        if (is_kept(event)) {
            cells.push_back(static_cast<std::size_t>(image.plain_cell(event)));
        }
    }
    return cells;
}

/// Filter and placement, piece by piece, with one of the machine's sets of vector instructions.
void find_cells(benchmark::State& state, const Image& (*get_image)(), std::int64_t instructions) {
    hwy::SetSupportedTargetsForTest(instructions);
    hwy::GetChosenTarget().DeInit();
    const Image& image = get_image();
    std::vector<std::size_t> cells(events_per_piece);
    const auto find = [&](std::size_t piece) {
        return find_cells(image.placement, sample_piece(piece), sample_filter(), frame, cells)
            .nCells;
    };
    for (std::size_t piece = 0; piece < nCached; ++piece) {
        if (!std::ranges::equal(std::span(cells).first(find(piece)), plain_cells(image, piece))) {
            state.SkipWithError("wrong cells");
        }
    }
    std::size_t piece = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(find(piece));
        benchmark::DoNotOptimize(cells.data());
        piece = (piece + 1) % nCached;
    }
    report(state, events_per_piece, events_per_piece * sizeof(Photon_Event));
    hwy::SetSupportedTargetsForTest(0);
    hwy::GetChosenTarget().DeInit();
}

const bool find_cells_registered = [] {
    const std::pair<const char*, const Image& (*)()> kinds[]{
        {"image", small_image}, {"bins", large_image}, {"frames", frame_image}};
    for (const std::int64_t instructions : hwy::SupportedAndGeneratedTargets()) {
        for (const auto& kind : kinds) {
            const std::string title =
                std::string("find_cells/") + kind.first + '/' + hwy::TargetName(instructions);
            benchmark::RegisterBenchmark(title.c_str(), [=](benchmark::State& state) {
                find_cells(state, kind.second, instructions);
            });
        }
    }
    return true;
}();

/// The cells of all pieces, in random order: an event's time says nothing of where its cell lies.
std::vector<std::size_t> shuffled_cells(const Image& image) {
    std::vector<std::size_t> all;
    for (std::size_t piece = 0; piece < nSample_pieces; ++piece) {
        const auto cells = plain_cells(image, piece);
        all.insert(all.end(), cells.begin(), cells.end());
    }
    std::ranges::shuffle(all, std::minstd_rand(1));
    all.resize(all.size() / events_per_piece * events_per_piece);
    return all;
}

/// Whether each counter holds as many counts as the cells say.
bool counted(std::span<const Counter> counters, std::span<const std::size_t> cells) {
    std::vector<unsigned> expected(counters.size());
    for (const std::size_t cell : cells) {
        ++expected[cell];
    }
    return std::ranges::equal(counters, expected, {},
                              [](const Counter& each) { return each.load(); });
}

/// Counting, by plain additions with one thread, or by atomic ones with one per core.
template <auto& get_image, bool atomic>
void count(benchmark::State& state) {
    static const std::vector<std::size_t> cells = shuffled_cells(get_image());
    static std::vector<Counter, Image_Allocator<Counter>> counters(get_image().nCells);
    Cell_Counter counter(counters, atomic);
    if (state.thread_index() == 0) {
        std::ranges::fill(counters, 0);
        counter.count(cells);
        if (!counted(counters, cells)) {
            state.SkipWithError("wrong counts");
        }
    }
    const std::size_t nPieces = cells.size() / events_per_piece;
    auto piece = static_cast<std::size_t>(state.thread_index()) * nPieces / 2 % nPieces;
    for (auto _ : state) {
        counter.count(std::span(cells).subspan(piece * events_per_piece, events_per_piece));
        piece = (piece + 1) % nPieces;
    }
    report(state, events_per_piece, events_per_piece * sizeof(std::size_t));
}
BENCHMARK(count<small_image, false>);
BENCHMARK(count<small_image, true>)->ThreadPerCpu()->UseRealTime();
BENCHMARK(count<large_image, false>);
BENCHMARK(count<large_image, true>)->ThreadPerCpu()->UseRealTime();

void trigger_walk(benchmark::State& state) {
    constexpr long interval_ticks = 100'000;
    const std::span events = std::span(sample_events()).first(nCached * events_per_piece);
    std::vector<orven::Event_Time> triggers{orven::Event_Time(0)};
    while (triggers.back() <= events.back().time) {
        triggers.emplace_back(triggers.back().value + interval_ticks);
    }
    const Sample_File sample(triggers);
    const orven::Event_File file(sample.path());
    const orven::Photon_Filter accept_all({0, UINT64_MAX}, {});
    std::vector<std::size_t> nEvents(triggers.size() - 1);
    const auto walk_all = [&] {
        std::ranges::fill(nEvents, 0);
        Trigger_Walk walk(file, true, 0, triggers.size());
        for (std::size_t piece = 0; piece < nCached; ++piece) {
            walk.walk(sample_piece(piece), accept_all,
                      [&](std::span<const Photon_Event> run, const Interval& interval) {
                          nEvents[interval.frameIndex] += run.size();
                      });
        }
    };
    walk_all();
    std::vector<std::size_t> expected(nEvents.size());
    for (const Photon_Event& event : events) {
        ++expected[static_cast<std::size_t>(event.time.value / interval_ticks)];
    }
    if (nEvents != expected) {
        state.SkipWithError("wrong intervals");
    }
    for (auto _ : state) {
        walk_all();
        benchmark::DoNotOptimize(nEvents.data());
    }
    report(state, events.size(), events.size_bytes());
}
BENCHMARK(trigger_walk);

}  // namespace
