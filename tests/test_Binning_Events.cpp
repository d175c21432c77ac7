#include "Binning_Events.h"
#include "recordings.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>

namespace {

constexpr int pixel = 65536;
constexpr int int_min = std::numeric_limits<int>::min();
constexpr int int_max = std::numeric_limits<int>::max();
constexpr long long_min = std::numeric_limits<long>::min();
constexpr long long_max = std::numeric_limits<long>::max();

/// The image's counts in storage order.
std::vector<unsigned> counts(auto& binning) {
    std::vector<unsigned> result;
    for (const Counter& cell : binning.image.get_content()) {
        result.push_back(cell);
    }
    return result;
}

TEST(Pixel_Axis, divides_exactly_at_every_border) {
    const std::vector<int> near_zero{int_min, int_min + 1, -1, 0, 1, int_max - 1, int_max};
    std::mt19937 random(1);
    std::vector<int> widths{1, 2, 3, 5, 7, 32768, 5592405, 65535, 65536, 65537, 16777216, int_max};
    for (int i = 0; i < 2000; ++i) {
        widths.push_back(static_cast<int>(random() >> (1 + i % 30)) + 1);
    }
    for (const int width : widths) {
        const Pixel_Axis axis(width, 1U << 30U);
        std::vector<int> values = near_zero;
        for (int i = 0; i < 50; ++i) {
            const auto nBorders = static_cast<unsigned>(int_max / width) + 1;
            const long border = static_cast<long>(random() % nBorders) * width;
            for (const long value : {border - 1, border, border + 1, -border, -border - 1}) {
                values.push_back(static_cast<int>(std::clamp<long>(value, int_min, int_max)));
            }
        }
        for (const int value : values) {
            ASSERT_EQ(static_cast<int>(axis.bin_of(value)), value / width) << value << '/' << width;
        }
    }
}

TEST(Time_Axis, divides_exactly) {
    for (const long width : {1L, 2L, 3L, 100L, 640000L, (1L << 40) + 1, long_max}) {
        const Time_Axis axis(width, 10);
        for (const long value : {long_min, long_min + 1, -width, 1 - width, -1L, 0L, width - 1,
                                 width, 2 * (width / 2), long_max - 1, long_max}) {
            EXPECT_EQ(static_cast<long>(axis.bin_of(value)), value / width)
                << value << '/' << width;
        }
    }
}

TEST(Image_Geometry, pixel_width_is_rounded_to_the_nearest_unit) {
    EXPECT_EQ(pixel_axis(256).bin_of(65536), 1U);
    EXPECT_EQ(pixel_axis(256).bin_of(65535), 0U);
    EXPECT_EQ(pixel_axis(3).bin_of(5592405), 1U);
    EXPECT_EQ(pixel_axis(3).bin_of(5592404), 0U);
    EXPECT_EQ(pixel_axis(33554432).bin_of(7), 7U);  // half a unit rounds up
    EXPECT_EQ(time_bin_length(1e-6).value, 640);
    EXPECT_EQ(time_bin_length(1.5625e-9 * 2.5).value, 3);
}

TEST(TimeIntegrated, x_is_the_column_and_truncation_widens_the_first_pixel) {
    const Parameters record = parameters_from({"-x", "4", "-y", "2"});
    Binning_Events_TimeIntegrated<Parameters::ignore> binning(record);
    const auto add = [&](int x, int y) { binning.add_singleEvent(event(x, y), {}, 0); };
    add(64 * pixel, 0);
    add(64 * pixel - 1, 128 * pixel);
    add(-1, -128 * pixel + 1);
    add(-64 * pixel, 0);
    add(0, -128 * pixel);
    add(256 * pixel, 0);
    add(0, 256 * pixel);
    add(int_min, int_max);
    EXPECT_EQ(counts(binning), (std::vector<unsigned>{1, 1, 0, 0, 1, 0, 0, 0}));
}

TEST(TimeResolved, y_is_the_column_scaled_by_the_x_settings) {
    const Parameters record = parameters_from({"-x", "4", "-y", "2", "-t", "1e-6", "-T", "2"});
    Binning_Events_TimeResolved<Parameters::ignore> binning(record);
    const auto add = [&](int x, int y, long time) {
        binning.add_singleEvent(event(x, y, 77), orven::Event_Time(time), 1);
    };
    add(0, 64 * pixel, 0);
    add(128 * pixel, 0, 640);
    add(0, 255 * pixel, -639);
    add(0, 0, -640);
    add(0, 0, 1280);
    add(0, 0, long_min);
    add(256 * pixel, 0, 0);
    add(0, -64 * pixel, 0);
    EXPECT_EQ(counts(binning), (std::vector<unsigned>{0, 1, 0, 1, 0, 0, 0, 0,  //
                                                      0, 0, 0, 0, 1, 0, 0, 0}));
}

TEST(FrameSync, the_frame_is_the_page_and_the_window_is_half_open) {
    const Parameters record =
        parameters_from({"-x", "1", "-t", "1.5625e-7", "-T", "3", "-E", "frameSync"});
    Binning_Events_TimeResolved<Parameters::frameSync> binning(record);
    const auto add = [&](long time, std::size_t frame) {
        binning.add_singleEvent(event(0, 0), orven::Event_Time(time), frame);
    };
    add(0, 0);
    add(99, 2);
    add(100, 1);
    add(-1, 1);
    add(0, 3);
    add(0, std::numeric_limits<std::size_t>::max());
    EXPECT_EQ(counts(binning), (std::vector<unsigned>{1, 0, 1}));
}

/// Events at and around all kinds of borders.
std::vector<Photon_Event> odd_events(std::size_t n) {
    const std::array<int, 10> positions{
        int_min,        -pixel,      1 - pixel,       -1,     0, pixel,
        64 * pixel - 1, 100 * pixel, 256 * pixel - 1, int_max};
    const std::array<long, 8> ticks{long_min, -640, -639, 0, 639, 640, 1919, long_max};
    const std::array<double, 4> psds{0.1, 0.5, 0.9, NAN};
    std::mt19937 random(7);
    std::vector<Photon_Event> events;
    for (std::size_t i = 0; i < n; ++i) {
        events.push_back(event(positions.at(random() % 10), positions.at(random() % 10),
                               ticks.at(random() % 8), random() % 4, psds.at(random() % 4)));
    }
    return events;
}

template <class Binning>
void expect_same_cells_as_single_events(const Parameters& record, const Interval& interval) {
    Binning one_by_one(record);
    Binning by_piece(record);
    const orven::Photon_Filter filter({1, 2}, {0.1, 0.8});
    const std::vector<Photon_Event> events = odd_events(events_per_piece);
    for (const Photon_Event& each : events) {
        if (filter.accepts(each)) {
            one_by_one.add_singleEvent(each, interval.relative(each.time), interval.frameIndex);
        }
    }
    Cell_List found;
    by_piece.find_cells(events, filter, interval, found);
    Cell_Counter(by_piece.counters(), Image_Use::alone).count(found);
    EXPECT_EQ(counts(by_piece), counts(one_by_one));
    EXPECT_GT(found.size, 10U);
}

TEST(Binning_Events, a_piece_is_placed_like_its_single_events) {
    const Parameters flat = parameters_from({"-x", "5", "-y", "3"});
    expect_same_cells_as_single_events<Binning_Events_TimeIntegrated<Parameters::ignore>>(flat, {});
    const Parameters deep = parameters_from({"-x", "5", "-y", "3", "-t", "1e-6", "-T", "3"});
    using Resolved = Binning_Events_TimeResolved<Parameters::reference>;
    using FrameSync = Binning_Events_TimeResolved<Parameters::frameSync>;
    for (const long open : {0L, 640L, -1L, long_min, long_max}) {
        const Interval interval{orven::Event_Time(open), 2};
        expect_same_cells_as_single_events<Resolved>(deep, interval);
    }
    expect_same_cells_as_single_events<FrameSync>(deep, {orven::Event_Time(-640), 2});
}

/// Which events the walk places, as {time since the trigger, frame}.
using Placed = std::vector<std::pair<long, std::size_t>>;

Placed walk(const std::vector<long>& triggers, const std::vector<Photon_Event>& events,
            std::size_t piece_size) {
    const orven::Photon_Filter filter({1, 100}, {});
    Trigger_Walk walk(times(triggers), 5);
    Placed placed;
    for (std::size_t i = 0; i < events.size(); i += piece_size) {
        const std::span rest = std::span(events).subspan(i);
        walk.walk(rest.first(std::min(piece_size, rest.size())), filter,
                  [&](std::span<const Photon_Event> run, const Interval& interval) {
                      for (const Photon_Event& each : run) {
                          if (filter.accepts(each)) {
                              placed.emplace_back(interval.relative(each.time).value,
                                                  interval.frameIndex);
                          }
                      }
                  });
    }
    return placed;
}

std::vector<Photon_Event> at(const std::vector<long>& ticks) {
    std::vector<Photon_Event> events;
    for (const long tick : ticks) {
        events.push_back(event(0, 0, tick));
    }
    return events;
}

TEST(Trigger_Walk, events_belong_to_the_interval_reached_when_they_come) {
    std::vector<Photon_Event> with_rejected = at({10, 35, 12, 20});
    with_rejected[1].nPhotons = 0;
    for (const std::size_t piece_size : {1U, 2U, 3U, 100U}) {
        EXPECT_EQ(walk({10, 20, 30}, at({5, 10, 19, 20, 29, 30, 15}), piece_size),
                  (Placed{{-5, 5}, {0, 5}, {9, 5}, {0, 6}, {9, 6}}));
        EXPECT_EQ(walk({10, 20, 30, 40}, at({35, 12, 38}), piece_size),
                  (Placed{{5, 7}, {-18, 7}, {8, 7}}));
        EXPECT_EQ(walk({10, 20, 30}, with_rejected, piece_size), (Placed{{0, 5}, {2, 5}, {0, 6}}));
        EXPECT_EQ(walk({30, 20, 50}, at({25, 10, 45}), piece_size),
                  (Placed{{5, 6}, {-10, 6}, {25, 6}}));
        EXPECT_EQ(walk({10}, at({5, 15}), piece_size), Placed{});
        EXPECT_EQ(walk({}, at({5}), piece_size), Placed{});
        EXPECT_EQ(walk({long_min, long_max}, at({long_max - 1}), piece_size), (Placed{{-2, 5}}));
    }
}

}  // namespace
