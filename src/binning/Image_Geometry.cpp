#include "binning/Image_Geometry.h"

#include <cmath>
#include <limits>
#include <stdexcept>

namespace {

void require(bool condition, const char* message) {
    if (!condition) {
        throw std::invalid_argument(message);
    }
}

constexpr const char* no_pixels = "Image size must be between 1 and 33554432 pixels!";

/// One axis of a region, in units of the position.
struct Extent {
    std::int64_t first;
    std::int64_t end;
};

Extent extent_of(double low, double high) {
    constexpr double largest = 32768;  // positions have 16 bits before the point
    require(low >= -largest && high <= largest && low < high,
            "region must have X0 < X1 and Y0 < Y1, all between -32768 and 32768!");
    constexpr double units = orven::Event_Length::units_per_pixel;
    const Extent extent{std::llround(low * units), std::llround(high * units)};
    require(extent.first < extent.end,
            "region must be at least 1/65536 of a detector pixel wide and high!");
    return extent;
}

Pixel_Axis pixel_axis(std::uint64_t size, std::size_t stride) {
    const std::int64_t width = pixel_width(size);
    require(width >= 1, no_pixels);
    return {width, static_cast<std::uint32_t>(size), stride};
}

Pixel_Axis pixel_axis(std::uint64_t size, std::size_t stride, double low, double high) {
    const Extent extent = extent_of(low, high);
    const std::int64_t width = pixel_width(size, high - low);
    constexpr std::uint64_t most_pixels = std::uint64_t{1} << 31U;
    require(width >= 1 && size < most_pixels, "region is too small for so many pixels!");
    return {width, static_cast<std::uint32_t>(size), stride, extent.first, extent.end};
}

}  // namespace

Pixel_Grid pixel_grid(const Page_Sizes& sizes) {
    const auto& [size_x, size_y, nPages, upright, region] = sizes;
    require(size_x != 0 && size_y != 0, no_pixels);
    require(nPages <= std::numeric_limits<std::uint64_t>::max() / size_x / size_y,
            "Requested size exceeds limits!");
    struct Selected {
        std::uint64_t size;
        std::size_t stride;
    };
    const Selected column{size_x, 1};
    const Selected row{size_y, size_x};
    const auto& [by_x, by_y] = upright ? std::pair(column, row) : std::pair(row, column);
    if (!region) {
        return {pixel_axis(by_x.size, by_x.stride), pixel_axis(by_y.size, by_y.stride)};
    }
    return {pixel_axis(by_x.size, by_x.stride, region->x0, region->x1),
            pixel_axis(by_y.size, by_y.stride, region->y0, region->y1)};
}

std::int64_t pixel_width(std::uint64_t size, double extent) noexcept {
    return std::llround(extent / static_cast<double>(size) * orven::Event_Length::units_per_pixel);
}

orven::Event_Time time_bin_length(double seconds) {
    const auto length = orven::Event_Time::from_seconds(seconds);
    require(length && length->value >= 1,
            "Time resolution must be at least one tick of 1.5625 ns!");
    return *length;
}

Time_Axis time_axis(std::uint64_t nPages, const Page_Times& times) {
    const std::int64_t length = time_bin_length(times.bin).value;
    if (!times.start) {
        return {length, nPages};
    }
    constexpr std::int64_t limit = std::int64_t{1} << 62U;
    const auto start = orven::Event_Time::from_seconds(*times.start);
    require(start && start->value > -limit && start->value < limit && length <= limit,
            "timeStart must be less than 7.2e9 seconds from zero, and time bins shorter!");
    return {length, nPages, start->value};
}
