#pragma once

#include "Survey.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// A detector pixel that holds much more than those around it.
struct Hot_Pixel {
    std::size_t x;
    std::size_t y;
    std::uint64_t nEvents;
    /// The second largest of the 16 pixels at a distance of 2: a line through the pixel is no
    /// fault, and a fault may reach over four pixels.
    std::uint64_t around;
};

/// Pixels that hold more than 2 times, and 10 events more than, what is around them.
struct Hot_Pixels {
    std::uint64_t nPixels = 0;
    std::uint64_t over_10_times = 0;  ///< of these, those with more than 10 times as much
    std::uint64_t over_100_times = 0;
    std::uint64_t nEvents = 0;       ///< in all of them
    std::vector<Hot_Pixel> hottest;  ///< those with the most events first, at most 10
};

[[nodiscard]] Hot_Pixels find_hot_pixels(const Survey_Image& image);
