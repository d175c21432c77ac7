#include "binning/Image_Geometry.h"

#include <limits>
#include <stdexcept>

namespace {

void require(bool condition, const char* message) {
    if (!condition) {
        throw std::invalid_argument(message);
    }
}

constexpr const char* no_pixels = "Image size must be between 1 and 33554432 pixels!";

Pixel_Axis pixel_axis(std::uint64_t size) {
    const orven::Event_Length width = pixel_width(size);
    require(width.value >= 1, no_pixels);
    return {width.value, static_cast<std::uint32_t>(size)};
}

}  // namespace

orven::Event_Length pixel_width(std::uint64_t size) noexcept {
    return orven::Event_Length::from_pixels(orven::detector_pixels / static_cast<double>(size));
}

Pixel_Grid pixel_grid(std::uint64_t nPages, std::uint64_t size_x, std::uint64_t size_y) {
    require(size_x != 0 && size_y != 0, no_pixels);
    require(nPages <= std::numeric_limits<std::uint64_t>::max() / size_x / size_y,
            "Requested size exceeds limits!");
    return {pixel_axis(size_x), pixel_axis(size_y)};
}

orven::Event_Time time_bin_length(double seconds) {
    const auto length = orven::Event_Time::from_seconds(seconds);
    require(length && length->value >= 1,
            "Time resolution must be at least one tick of 1.5625 ns!");
    return *length;
}
