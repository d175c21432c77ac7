#include "binning/Image_Geometry.h"
#include "binning/find_cells.h"
#include "recordings.h"

#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <variant>

namespace {

constexpr int pixel = 65536;
constexpr int int_min = std::numeric_limits<int>::min();
constexpr int int_max = std::numeric_limits<int>::max();
constexpr long long_min = std::numeric_limits<long>::min();
constexpr long long_max = std::numeric_limits<long>::max();

/// Events at and around borders of all kinds.
std::vector<Photon_Event> odd_events(std::size_t n, long width, long end) {
    const std::array positions{int_min,        -pixel,      1 - pixel,       -1,     0, pixel,
                               64 * pixel - 1, 100 * pixel, 256 * pixel - 1, int_max};
    const std::array ticks{long_min, -width,  1 - width, -1L,     0L,          width - 1,
                           width,    end - 1, end,       end + 1, end - width, long_max};
    const std::array<std::uint64_t, 6> photons{0, 1, 2, 3, UINT64_MAX, UINT64_MAX / 2 + 1};
    const std::array psds{0.1, 0.5, 0.8, 0.9, std::nan(""), HUGE_VAL, -HUGE_VAL};
    std::mt19937 random(7);
    const auto one_of = [&](const auto& values) { return values.at(random() % values.size()); };
    std::vector<Photon_Event> events;
    for (std::size_t i = 0; i < n; ++i) {
        const auto near = static_cast<long>(static_cast<unsigned long>(one_of(ticks)) +
                                            random() % 3 * static_cast<unsigned long>(width));
        events.push_back(event(one_of(positions), one_of(positions),
                               random() % 2 == 0 ? one_of(ticks) : near, one_of(photons),
                               one_of(psds)));
    }
    return events;
}

/// Events at and next to the edges of pixels and time bins of this width: all edges of a small
/// image, the outer ones of a large one.
std::vector<Photon_Event> events_at_edges(int width, int size) {
    std::vector<Photon_Event> events;
    for (int k = -2; k <= std::min(size, 300) + 1; ++k) {
        for (const int edge : {k * width, (size - k) * width}) {
            for (const int at : {edge - 1, edge, edge + 1}) {
                events.insert(events.end(), {event(at, 0), event(0, at), event(0, 0, at)});
            }
        }
    }
    return events;
}

/// Which part of space and time an image shows, and in which orientation.
struct Part {
    bool upright;
    std::optional<Region> region;
    std::optional<double> start;
};

std::vector<Part> parts(long bin_ticks) {
    const double bin = orven::Event_Time(bin_ticks).in_seconds();
    const auto start = [bin](double seconds) {
        return bin < 7e9 ? std::optional(seconds) : std::nullopt;
    };
    return {{false, {}, {}},
            {true, Region{1, 0, 100, 64.00001}, start(0)},
            {false, Region{-1, -2, 0.99999, 256}, start(std::max(-1.5 * bin, -7e9))},
            {true, Region{-32768, 99, 32768, 101}, start(bin)}};
}

/// The cells of a piece by each set of instructions, against those of its events one by one.
void expect_same_cells(const Placement& placement, const orven::Photon_Filter& filter,
                       const Interval& interval, std::span<const Photon_Event> events) {
    std::vector<std::size_t> expected;
    std::size_t nAccepted = 0;
    for (const Photon_Event& each : events) {
        if (filter.accepts(each)) {
            ++nAccepted;
            const auto [inside, cell] = std::visit(
                [&](const auto& kind) {
                    return kind.place(each, interval.relative(each.time), interval.frameIndex);
                },
                placement);
            if (inside != 0) {
                expected.push_back(cell);
            }
        }
    }
    for (const std::int64_t instructions : hwy::SupportedAndGeneratedTargets()) {
        hwy::SetSupportedTargetsForTest(instructions);
        hwy::GetChosenTarget().DeInit();
        std::vector<std::size_t> cells(events.size());
        const Found found = find_cells(placement, events, filter, interval, cells);
        cells.resize(found.nCells);
        EXPECT_EQ(cells, expected) << hwy::TargetName(instructions);
        EXPECT_EQ(found.nAccepted, nAccepted);
        EXPECT_EQ(count_accepted(events, filter), nAccepted);
    }
    hwy::SetSupportedTargetsForTest(0);
    hwy::GetChosenTarget().DeInit();
}

TEST(find_cells, pieces_are_placed_like_their_single_events_by_all_instructions) {
    const std::vector<orven::Photon_Filter> filters{
        orven::Photon_Filter({0, UINT64_MAX}, {}),
        orven::Photon_Filter({1, 3}, {0.1, 0.8}),
        orven::Photon_Filter({3, 2}, {}),
        orven::Photon_Filter({2, UINT64_MAX}, {{}, 0.5}),
        orven::Photon_Filter({0, UINT64_MAX - 1}, {-HUGE_VAL, {}}),
        orven::Photon_Filter({0, 9}, {std::nan(""), {}})};
    struct Bins {
        double seconds;
        std::uint64_t number;
    };
    // 49 * (1.0 / 49) falls short of 1. The last three end at, behind and far behind the times that
    // are divided in doubles.
    for (const Bins bins :
         {Bins{1e-6, 3}, Bins{1e-6, 0}, Bins{1.5625e-9, 5}, Bins{7.65625e-8, 5},
          Bins{1099.511627775, 3200}, Bins{1099.511627775, 12800}, Bins{7205759403.792794, 3}}) {
        const long width = time_bin_length(bins.seconds).value;
        const auto end = static_cast<long>(static_cast<unsigned long>(width) * bins.number);
        const std::vector<Photon_Event> events = odd_events(1003, width, end);
        for (const orven::Photon_Filter& filter : filters) {
            for (const long open : {0L, width, -1L, long_min, long_max}) {
                const Interval interval{orven::Event_Time(open), 2};
                for (const Part& part : parts(width)) {
                    const Page_Sizes deep{5, 3, bins.number, part.upright, part.region};
                    const Page_Times times{bins.seconds, part.start};
                    expect_same_cells(Integrated_Placement(deep), filter, interval, events);
                    expect_same_cells(Time_Bin_Placement(deep, times), filter, interval, events);
                    if (bins.number > interval.frameIndex) {
                        expect_same_cells(Frame_Placement(deep, times), filter, interval, events);
                    }
                }
            }
        }
        for (const std::size_t n : {0U, 1U, 2U, 7U, 8U, 9U, 16U}) {
            const std::vector counted(n, event(0, 0));
            expect_same_cells(Time_Bin_Placement({5, 3, bins.number}, {bins.seconds}), filters[0],
                              {}, counted);
        }
    }
}

/// The quotient of an edge is not always rounded to the same side of the whole number.
TEST(find_cells, no_edge_is_missed_by_any_instructions) {
    std::vector<int> sizes{512, 1000, 4096, 30011, 77777};
    sizes.resize(300);
    std::iota(sizes.begin() + 5, sizes.end(), 1);
    const orven::Photon_Filter accept_all({0, UINT64_MAX}, {});
    for (const int size : sizes) {
        SCOPED_TRACE(size);
        const auto n = static_cast<std::uint64_t>(size);
        const auto width = static_cast<int>(pixel_width(n));
        const Page_Sizes pages{n, n, std::min(n, 300UL)};
        const Page_Times times{orven::Event_Time(width).in_seconds()};
        const std::vector<Photon_Event> events = events_at_edges(width, size);
        expect_same_cells(Integrated_Placement(pages), accept_all, {}, events);
        expect_same_cells(Time_Bin_Placement(pages, times), accept_all, {}, events);
        expect_same_cells(Frame_Placement(pages, times), accept_all, {}, events);
    }
}

TEST(frame_size, is_how_far_frames_lie_apart) {
    const Frame_Placement frames({5, 3, 2}, {1});
    EXPECT_EQ(frame_size(frames), frames.place(event(0, 0), orven::Event_Time(0), 1).cell);
}

}  // namespace
