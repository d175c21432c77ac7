// From events to counts: filter and placement, counting, and the trigger walk.

#include "Binning_Events.h"
#include "Sample.h"

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

namespace {

using Integrated = Binning_Events_TimeIntegrated<Parameters::ignore>;
using Resolved = Binning_Events_TimeResolved<Parameters::ignore>;
using Frames = Binning_Events_TimeResolved<Parameters::frameSync>;

/// So many pieces stay in a core's cache, as pieces do that were just read.
constexpr std::size_t nCached = 16;

std::span<const Photon_Event> sample_piece(std::size_t index) {
    return std::span(sample_events()).subspan(index * events_per_piece, events_per_piece);
}

/// An image to place events in, and the cell of an event by plain division.
template <class Binning_Type>
struct Image {
    using Binning = Binning_Type;
    Binning binning;
    std::size_t (*plain_cell)(const Photon_Event&);
};

/// 1 MiB, which a core's cache holds.
Image<Integrated>& small_image() {
    static Image<Integrated> image{
        Integrated(parameters_from({"-x", "512"})), [](const Photon_Event& event) {
            return static_cast<std::size_t>(event.y.value / 32768 * 512 + event.x.value / 32768);
        }};
    return image;
}

/// 500 MiB.
Image<Resolved>& large_image() {
    static Image<Resolved> image{
        Resolved(parameters_from({"-x", "256", "-t", "7.8125e-5", "-T", "2000"})),
        [](const Photon_Event& event) {
            return static_cast<std::size_t>(event.time.value / 50'000 * 65'536 +
                                            event.x.value / 65'536 * 256 + event.y.value / 65'536);
        }};
    return image;
}

/// All events fall into one frame.
constexpr Interval frame{orven::Event_Time(0), 7};
Image<Frames>& frame_image() {
    static Image<Frames> image{
        Frames(parameters_from({"-x", "128", "-E", "frameSync", "-t", "1", "-T", "1000"})),
        [](const Photon_Event& event) {
            return static_cast<std::size_t>(7 * 16'384 + event.x.value / 131'072 * 128 +
                                            event.y.value / 131'072);
        }};
    return image;
}

template <class Image_Type>
std::vector<std::size_t> plain_cells(const Image_Type& image, std::size_t piece) {
    std::vector<std::size_t> cells;
    for (const Photon_Event& event : sample_piece(piece)) {
        if (is_kept(event)) {
            cells.push_back(image.plain_cell(event));
        }
    }
    return cells;
}

/// Filter and placement, piece by piece.
template <auto& get_image>
void find_cells(benchmark::State& state) {
    auto& image = get_image();
    const auto found = std::make_unique<Cell_List>();
    const auto find = [&](std::size_t piece) {
        found->size = 0;
        image.binning.find_cells(sample_piece(piece), sample_filter(), frame, *found);
    };
    for (std::size_t piece = 0; piece < nCached; ++piece) {
        find(piece);
        if (!std::ranges::equal(std::span(found->cells).first(found->size),
                                plain_cells(image, piece))) {
            state.SkipWithError("wrong cells");
        }
    }
    std::size_t piece = 0;
    for (auto _ : state) {
        find(piece);
        benchmark::DoNotOptimize(found->cells.data());
        piece = (piece + 1) % nCached;
    }
    report(state, events_per_piece, events_per_piece * sizeof(Photon_Event));
}
BENCHMARK(find_cells<small_image>);
BENCHMARK(find_cells<large_image>);
BENCHMARK(find_cells<frame_image>);

/// The cells of all pieces, in random order: an event's time says nothing of where its cell lies.
template <class Image_Type>
std::vector<Cell_List> shuffled_cell_lists(const Image_Type& image) {
    std::vector<std::size_t> all;
    for (std::size_t piece = 0; piece < nSample_pieces; ++piece) {
        const auto cells = plain_cells(image, piece);
        all.insert(all.end(), cells.begin(), cells.end());
    }
    std::ranges::shuffle(all, std::minstd_rand(1));
    std::vector<Cell_List> lists(all.size() / events_per_piece);
    for (std::size_t i = 0; i < lists.size(); ++i) {
        lists[i].size = events_per_piece;
        std::copy_n(&all[i * events_per_piece], events_per_piece, lists[i].cells.begin());
    }
    return lists;
}

/// Whether each cell holds as many counts as the lists say.
template <class Binning>
bool counted(Binning& binning, const std::vector<Cell_List>& lists) {
    std::vector<unsigned> expected(binning.counters().size());
    for (const Cell_List& list : lists) {
        for (const std::size_t cell : list.cells) {
            ++expected[cell];
        }
    }
    return std::ranges::equal(binning.counters(), expected, {},
                              [](const Counter& cell) { return cell.load(); });
}

/// Counting, with one thread, or with one per core where the image is shared.
template <auto& get_image, Image_Use use>
void count(benchmark::State& state) {
    auto& binning = get_image().binning;
    static const std::vector<Cell_List> lists = shuffled_cell_lists(get_image());
    if (state.thread_index() == 0) {
        std::ranges::fill(binning.counters(), 0);
        Cell_Counter counter(binning.counters(), use);
        std::ranges::for_each(lists, [&](const Cell_List& list) { counter.count(list); });
        counter.merge();
        if (!counted(binning, lists)) {
            state.SkipWithError("wrong counts");
        }
    }
    Cell_Counter counter(binning.counters(), use);
    auto i = static_cast<std::size_t>(state.thread_index()) * lists.size() / 2 % lists.size();
    for (auto _ : state) {
        counter.count(lists[i]);
        i = (i + 1) % lists.size();
    }
    report(state, events_per_piece, events_per_piece * sizeof(std::size_t));
}
BENCHMARK(count<small_image, Image_Use::alone>);
BENCHMARK(count<small_image, Image_Use::shared>)->ThreadPerCpu()->UseRealTime();
BENCHMARK(count<large_image, Image_Use::alone>);
BENCHMARK(count<large_image, Image_Use::shared>)->ThreadPerCpu()->UseRealTime();

void trigger_walk(benchmark::State& state) {
    constexpr long interval_ticks = 100'000;
    const std::span events = std::span(sample_events()).first(nCached * events_per_piece);
    std::vector<orven::Event_Time> triggers;
    for (long ticks = 0; triggers.empty() || triggers.back() <= events.back().time;
         ticks += interval_ticks) {
        triggers.emplace_back(ticks);
    }
    const orven::Photon_Filter accept_all({0, UINT64_MAX}, {});
    std::vector<std::size_t> nEvents(triggers.size() - 1);
    const auto walk_all = [&] {
        std::ranges::fill(nEvents, 0);
        Trigger_Walk walk(std::vector<orven::Event_Time>(triggers), 0);
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
