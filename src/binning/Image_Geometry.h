#pragma once

#include "Event.h"
#include "binning/Bin_Axis.h"

#include <cstdint>
#include <optional>

/// A part of the detector: from x0 and y0 up to, but not including, x1 and y1.
/// Units: detector pixels, which are rounded to units of the position.
struct Region {
    double x0;
    double y0;
    double x1;
    double y1;
};

/// The pages of an image, and which part of the detector they show.
struct Page_Sizes {
    std::uint64_t size_x;  ///< columns
    std::uint64_t size_y;  ///< rows
    std::uint64_t nPages = 1;
    /// Whether `x` selects the column and `y` the row; else the other way round.
    bool upright = true;
    std::optional<Region> region = {};  ///< the whole detector if empty
};

/// The pixels that positions select.
struct Pixel_Grid {
    Pixel_Axis x;
    Pixel_Axis y;

    [[nodiscard]] std::size_t cells_per_page() const noexcept { return x.size() * y.size(); }
};

/// Divides the detector, or a part of it, into columns and rows; the width of one is rounded to the
/// nearest unit, halves away from zero.
/// Throws: std::invalid_argument if there are no pixels, if their width rounds to 0, if the number
/// of cells of all pages does not fit 64 bits, or for a region that is none.
[[nodiscard]] Pixel_Grid pixel_grid(const Page_Sizes& sizes);

/// The width of one of `size` pixels that share `extent` detector pixels, as above.
/// Units: 1/65536 of a detector pixel. Range: `size` is not 0.
[[nodiscard]] std::int64_t pixel_width(std::uint64_t size,
                                       double extent = orven::detector_pixels) noexcept;

/// The length of a time bin in ticks, rounded to the nearest, halves away from zero.
/// Throws: std::invalid_argument if that is not a tick count of at least 1, NaN and infinity
/// included.
[[nodiscard]] orven::Event_Time time_bin_length(double seconds);

/// When the pages of an image are counted.
/// Units: seconds, which are rounded to ticks.
struct Page_Times {
    double bin;  ///< length of a time bin; of frames, what is counted of each
    /// Where bin 0 starts, after where times count from; of frames, where that begins which is
    /// counted. Given, what is before does not count; else bin 0 starts at 0 and division
    /// truncates.
    std::optional<double> start = {};
};

/// The time bins of so many pages. Start and length are rounded to the nearest tick.
/// Throws: as `time_bin_length`; std::invalid_argument for a start that is not between -2^62 and
/// 2^62 ticks, or with which bins are longer.
[[nodiscard]] Time_Axis time_axis(std::uint64_t nPages, const Page_Times& times);
