#include "Image_Geometry.h"

#include <cmath>
#include <limits>
#include <stdexcept>

Pixel_Axis pixel_axis(std::uint64_t size) {
    constexpr double detector_pixels = 256.0;
    constexpr double units_per_pixel = orven::Event_Length::units_per_pixel;
    const double width = std::round(detector_pixels / static_cast<double>(size) * units_per_pixel);
    if (size == 0 || width < 1) {
        throw std::invalid_argument("Image size must be between 1 and 33554432 pixels!");
    }
    return {static_cast<std::int32_t>(width), static_cast<std::uint32_t>(size)};
}

orven::Event_Time time_bin_length(double seconds) {
    const double ticks = std::round(seconds / orven::Event_Time::seconds_per_tick);
    if (!(ticks >= 1 && ticks < 0x1p63)) {
        throw std::invalid_argument("Time resolution must be at least one tick of 1.5625 ns!");
    }
    return orven::Event_Time(static_cast<long>(ticks));
}

void check_image_size(std::uint64_t nPages, std::uint64_t size_x, std::uint64_t size_y) {
    if (size_x == 0 || size_y == 0) {
        throw std::invalid_argument("Image size must be between 1 and 33554432 pixels!");
    }
    if (nPages > std::numeric_limits<std::uint64_t>::max() / size_x / size_y) {
        throw std::invalid_argument("Requested size exceeds limits!");
    }
}
