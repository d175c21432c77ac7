#pragma once

#include "Event.h"
#include "binning/Bin_Axis.h"

#include <cstdint>

/// The two pixel axes of an image.
struct Pixel_Grid {
    Pixel_Axis columns;
    Pixel_Axis rows;
};

/// Divides the 256 detector pixels into `size_x` columns and `size_y` rows; the width of one is
/// rounded to the nearest unit, halves away from zero.
/// Throws: std::invalid_argument if there are no pixels, if their width rounds to 0, or if the
/// number of cells of `nPages` such pages does not fit 64 bits.
[[nodiscard]] Pixel_Grid pixel_grid(std::uint64_t nPages, std::uint64_t size_x,
                                    std::uint64_t size_y);

/// The width of one of `size` pixels that share the 256 detector pixels, as above; 0 if it rounds
/// to that. Range: `size` is not 0.
[[nodiscard]] orven::Event_Length pixel_width(std::uint64_t size) noexcept;

/// The length of a time bin in ticks, rounded to the nearest, halves away from zero.
/// Throws: std::invalid_argument if that is not a tick count of at least 1, NaN and infinity
/// included.
[[nodiscard]] orven::Event_Time time_bin_length(double seconds);
