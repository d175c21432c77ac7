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

/// One image over all time: `x` selects the column, `y` the row.
class Integrated_Placement {
public:
    /// So many columns and rows. Throws: as `pixel_grid`.
    Integrated_Placement(std::uint64_t size_x, std::uint64_t size_y)
        : grid(pixel_grid(1, size_x, size_y)) {}

    [[nodiscard]] Place place(const orven::Photon_Event& event, orven::Event_Time /*time*/,
                              std::size_t /*frameIndex*/) const noexcept {
        const std::uint32_t column = grid.columns.bin_of(event.x.value);
        const std::uint32_t row = grid.rows.bin_of(event.y.value);
        return {orven::all_hold(grid.rows.contains(row), grid.columns.contains(column)) ? 1U : 0U,
                row * grid.columns.size() + column};
    }

    [[nodiscard]] const Pixel_Grid& get_grid() const noexcept { return grid; }

private:
    Pixel_Grid grid;
};

/// The sizes of an image of several pages.
struct Page_Sizes {
    std::uint64_t size_x;  ///< columns
    std::uint64_t size_y;  ///< rows
    double bin_seconds;    ///< length of a time bin; of frames, what is counted of each
    std::uint64_t nPages;
};

/// The axes that images of several pages share. Against the image over all time the pixel axes are
/// crossed: `y` selects the column, `x` the row.
class Page_Axes {
public:
    /// Throws: as `pixel_grid`, then as `time_bin_length`.
    explicit Page_Axes(const Page_Sizes& sizes)
        : grid(pixel_grid(sizes.nPages, sizes.size_x, sizes.size_y)),
          pages(time_bin_length(sizes.bin_seconds).value, sizes.nPages) {}

    /// The place on a page, if the event's time is one that the image counts.
    [[nodiscard]] Place place(const orven::Photon_Event& event, std::size_t page,
                              bool in_time) const noexcept {
        const std::uint32_t column = grid.columns.bin_of(event.y.value);
        const std::uint32_t row = grid.rows.bin_of(event.x.value);
        const bool inside = orven::all_hold(in_time, pages.contains(page), grid.rows.contains(row),
                                            grid.columns.contains(column));
        return {inside ? 1U : 0U, (page * grid.rows.size() + row) * grid.columns.size() + column};
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
    explicit Time_Bin_Placement(const Page_Sizes& sizes) : axes(sizes) {}

    [[nodiscard]] Place place(const orven::Photon_Event& event, orven::Event_Time time,
                              std::size_t /*frameIndex*/) const noexcept {
        return axes.place(event, axes.time_bins().bin_of(time.value), true);
    }

    [[nodiscard]] const Page_Axes& get_axes() const noexcept { return axes; }

private:
    Page_Axes axes;
};

/// One page per frame: the events from its trigger up to the length of a time bin.
class Frame_Placement {
public:
    /// Throws: as `Page_Axes`.
    explicit Frame_Placement(const Page_Sizes& sizes) : axes(sizes) {}

    [[nodiscard]] Place place(const orven::Photon_Event& event, orven::Event_Time time,
                              std::size_t frameIndex) const noexcept {
        // One comparison for both ends: a negative time wraps to a large one.
        const bool in_time = static_cast<std::uint64_t>(time.value) <
                             static_cast<std::uint64_t>(axes.time_bins().width());
        return axes.place(event, frameIndex, in_time);
    }

    [[nodiscard]] const Page_Axes& get_axes() const noexcept { return axes; }

private:
    Page_Axes axes;
};

using Placement = std::variant<Integrated_Placement, Time_Bin_Placement, Frame_Placement>;

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
    const Pixel_Grid& grid = frames->get_axes().get_grid();
    return std::size_t{grid.rows.size()} * grid.columns.size();
}
