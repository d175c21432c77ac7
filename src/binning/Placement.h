#pragma once

#include "Branchless.h"
#include "Event.h"
#include "Filters_Events.h"
#include "binning/Bin_Axis.h"
#include "binning/Image_Geometry.h"
#include "binning/Interval.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <variant>

// Where events belong in an image: one small value per kind of image. `place` takes the event, its
// time from where bin 0 starts and the number of its interval; a kind uses what it needs.

/// Whether an event lies inside the image, and in which cell, in storage order; the cell of an
/// event outside means nothing.
struct Place {
    std::size_t inside;  ///< 1 or 0: what the event adds to the number of cells found
    std::size_t cell;
};

/// One image over all time.
class Integrated_Placement {
public:
    /// Throws: as `pixel_grid`.
    explicit Integrated_Placement(const Page_Sizes& sizes) : grid(pixel_grid(sizes)) {}

    [[nodiscard]] Place place(const orven::Photon_Event& event, orven::Event_Time /*time*/,
                              std::size_t /*frameIndex*/) const noexcept {
        const bool inside =
            orven::all_hold(grid.x.contains(event.x.value), grid.y.contains(event.y.value));
        return {inside ? 1U : 0U, grid.x.pixel_at(event.x.value) + grid.y.cell_at(event.y.value)};
    }

    [[nodiscard]] const Pixel_Grid& get_grid() const noexcept { return grid; }

private:
    Pixel_Grid grid;
};

/// The axes that images of several pages share.
class Page_Axes {
public:
    /// Throws: as `pixel_grid`, then as `time_axis`.
    Page_Axes(const Page_Sizes& sizes, const Page_Times& times)
        : grid(pixel_grid(sizes)), pages(time_axis(sizes.nPages, times)) {}

    /// The place on a page, if the event's time is one that the image counts.
    [[nodiscard]] Place place(const orven::Photon_Event& event, std::size_t page,
                              bool in_time) const noexcept {
        const bool inside =
            orven::all_hold(in_time, pages.contains(page), grid.x.contains(event.x.value),
                            grid.y.contains(event.y.value));
        return {inside ? 1U : 0U, page * grid.cells_per_page() + grid.x.cell_at(event.x.value) +
                                      grid.y.cell_at(event.y.value)};
    }

    [[nodiscard]] const Time_Axis& time_bins() const noexcept { return pages; }
    [[nodiscard]] const Pixel_Grid& get_grid() const noexcept { return grid; }

private:
    Pixel_Grid grid;
    Time_Axis pages;
};

/// One page per time bin.
class Time_Bin_Placement {
public:
    /// Throws: as `Page_Axes`.
    Time_Bin_Placement(const Page_Sizes& sizes, const Page_Times& times) : axes(sizes, times) {}

    [[nodiscard]] Place place(const orven::Photon_Event& event, orven::Event_Time time,
                              std::size_t /*frameIndex*/) const noexcept {
        return axes.place(event, axes.time_bins().bin_of(time.value), true);
    }

    [[nodiscard]] const Page_Axes& get_axes() const noexcept { return axes; }

private:
    Page_Axes axes;
};

/// One page per frame: the events from its trigger, or the start after it, up to the length of a
/// time bin.
class Frame_Placement {
public:
    /// Throws: as `Page_Axes`.
    Frame_Placement(const Page_Sizes& sizes, const Page_Times& times) : axes(sizes, times) {}

    [[nodiscard]] Place place(const orven::Photon_Event& event, orven::Event_Time time,
                              std::size_t frameIndex) const noexcept {
        return axes.place(event, frameIndex, axes.time_bins().is_in_first(time.value));
    }

    [[nodiscard]] const Page_Axes& get_axes() const noexcept { return axes; }

private:
    Page_Axes axes;
};

using Placement = std::variant<Integrated_Placement, Time_Bin_Placement, Frame_Placement>;

[[nodiscard]] inline bool is_inside(const Placement& placement, const orven::Photon_Event& event,
                                    orven::Event_Time time, std::size_t frameIndex) {
    return std::visit(
        [&](const auto& each) { return each.place(event, time, frameIndex).inside != 0; },
        placement);
}

/// Whether an event in the image lies before the first pixel or bin of an axis, in which it counts
/// as division truncates.
[[nodiscard]] inline bool is_early(const Placement& placement, const orven::Photon_Event& event,
                                   orven::Event_Time time) noexcept {
    const auto is_before = [&](const Pixel_Grid& grid) {
        return event.x.value < grid.x.start() || event.y.value < grid.y.start();
    };
    if (const auto* whole = std::get_if<Integrated_Placement>(&placement)) {
        return is_before(whole->get_grid());
    }
    if (const auto* bins = std::get_if<Time_Bin_Placement>(&placement)) {
        return is_before(bins->get_axes().get_grid()) ||
               time.value < bins->get_axes().time_bins().origin();
    }
    return is_before(std::get<Frame_Placement>(placement).get_axes().get_grid());
}

/// The number of the first interval of which no event lies in the image, nor of those after it.
[[nodiscard]] inline std::size_t end_frame(const Placement& placement) noexcept {
    const auto* frames = std::get_if<Frame_Placement>(&placement);
    return frames != nullptr ? frames->get_axes().time_bins().size()
                             : std::numeric_limits<std::size_t>::max();
}

/// How many cells a page has, where pages are frames.
[[nodiscard]] inline std::optional<std::size_t> frame_size(const Placement& placement) noexcept {
    const auto* frames = std::get_if<Frame_Placement>(&placement);
    if (frames == nullptr) {
        return std::nullopt;
    }
    return frames->get_axes().get_grid().cells_per_page();
}
