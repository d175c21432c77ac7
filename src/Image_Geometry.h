#pragma once

#include "Bin_Axis.h"
#include "Event.h"

#include <cstdint>

/// An axis of `size` pixels that share the 256 detector pixels; the width of one is rounded to
/// the nearest unit, halves away from zero.
/// Throws: std::invalid_argument if there is no pixel, or if their width rounds to 0.
[[nodiscard]] Pixel_Axis pixel_axis(std::uint64_t size);

/// The length of a time bin in ticks, rounded to the nearest, halves away from zero.
/// Throws: std::invalid_argument if that is not a tick count of at least 1, NaN and infinity
/// included.
[[nodiscard]] orven::Event_Time time_bin_length(double seconds);

/// Throws: std::invalid_argument if an image of these sizes has no pixels, or if the number of its
/// cells does not fit 64 bits.
void check_image_size(std::uint64_t nPages, std::uint64_t size_x, std::uint64_t size_y);
