#pragma once

#include <libdivide.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>

// Equal bins along one axis. The bins of a whole axis start at 0, and division truncates toward
// zero, so the first one also takes values less than one width below 0. Those of a part of it take
// nothing from outside.

/// The pixels of an image along one axis, over raw positions.
class Pixel_Axis {
public:
    /// Pixels from position 0 on. `stride_` is how many cells of the image lie from one to the
    /// next. `width` must be at least 1, `nPixels_` below 2^31.
    Pixel_Axis(std::int64_t width, std::uint32_t nPixels_, std::size_t stride_ = 1)
        : Pixel_Axis(width, nPixels_, stride_, 0, 1 - width, width * nPixels_) {}

    /// Pixels of a part of the axis, from `first` up to, but not including, `end`; what is left
    /// behind the last pixel is outside.
    Pixel_Axis(std::int64_t width, std::uint32_t nPixels_, std::size_t stride_, std::int64_t first,
               std::int64_t end)
        : Pixel_Axis(width, nPixels_, stride_, first, 0, std::min(end - first, width * nPixels_)) {}

    [[nodiscard]] bool contains(std::int32_t position) const noexcept {
        // One comparison for both ends: what is below wraps.
        return static_cast<std::uint32_t>(position) - lowest <= span;
    }

    /// The pixel at a position; means nothing if it is outside. The reciprocal is rounded up, by a
    /// factor below 1 + 2^-51, so that a product never falls short of the quotient; nor does it
    /// reach the next whole number, from which the true quotient is at least 1 / width away, as
    /// positions differ by less than 2^33.
    [[nodiscard]] std::size_t pixel_at(std::int32_t position) const noexcept {
        return static_cast<std::size_t>(
            static_cast<std::int64_t>((position - origin) * reciprocal));
    }

    /// How far its cells lie from those of the first pixel.
    [[nodiscard]] std::size_t cell_at(std::int32_t position) const noexcept {
        return pixel_at(position) * stride;
    }

    [[nodiscard]] std::size_t size() const noexcept { return nPixels; }

    // What these are made of, for vectors of positions.

    /// The position at which pixels start.
    [[nodiscard]] double start() const noexcept { return origin; }
    /// The first and the last position that are inside.
    [[nodiscard]] std::pair<double, double> inside() const noexcept {
        const auto first = static_cast<std::int32_t>(lowest);
        return {first, first + static_cast<double>(span)};
    }
    [[nodiscard]] double get_reciprocal() const noexcept { return reciprocal; }
    [[nodiscard]] std::size_t get_stride() const noexcept { return stride; }

private:
    Pixel_Axis(std::int64_t width, std::uint32_t nPixels_, std::size_t stride_,
               std::int64_t origin_, std::int64_t first, std::int64_t end)
        : origin(static_cast<double>(origin_)),
          reciprocal(std::nextafter(1.0 / static_cast<double>(width), 1.0)),
          lowest(static_cast<std::uint32_t>(origin_ + first)),
          span(static_cast<std::uint32_t>(end - first - 1)),
          nPixels(nPixels_),
          stride(stride_) {}

    double origin;
    double reciprocal;
    std::uint32_t lowest;  ///< of the positions that are inside
    std::uint32_t span;    ///< from there to the highest
    std::uint32_t nPixels;
    std::size_t stride;
};

/// The time bins of an image sequence, over ticks.
class Time_Axis {
public:
    /// With `start_`, bins start there and take nothing from before; it must lie between -2^62 and
    /// 2^62, and `width` must be at most 2^62. `width` must be at least 1.
    Time_Axis(std::int64_t width, std::size_t nBins_, std::optional<std::int64_t> start_ = {})
        : divider(width),
          width_ticks(width),
          nBins(nBins_),
          truncates(!start_),
          start(start_.value_or(0)) {}

    /// The bin of a time. That of a time outside the axis, on either side, is not below the number
    /// of bins.
    [[nodiscard]] std::size_t bin_of(std::int64_t ticks) const noexcept {
        if (truncates) {
            return static_cast<std::size_t>(ticks / divider);
        }
        return ticks < start ? std::numeric_limits<std::size_t>::max()
                             : since_start(ticks) / static_cast<std::uint64_t>(width_ticks);
    }

    /// Whether a time is not before the start, and less than a width after it.
    [[nodiscard]] bool is_in_first(std::int64_t ticks) const noexcept {
        return since_start(ticks) < static_cast<std::uint64_t>(width_ticks);
    }

    [[nodiscard]] bool contains(std::size_t bin) const noexcept { return bin < nBins; }
    [[nodiscard]] std::size_t size() const noexcept { return nBins; }
    [[nodiscard]] std::int64_t width() const noexcept { return width_ticks; }

    /// The time at which bin 0 starts.
    [[nodiscard]] std::int64_t origin() const noexcept { return start; }
    /// Whether there are bins, and all their times may be divided in doubles, as positions are:
    /// they are below 2^51 ticks then, from the origin on.
    [[nodiscard]] bool fits_doubles() const noexcept {
        constexpr std::int64_t limit = std::int64_t{1} << 51U;
        return nBins > 0 && nBins <= static_cast<std::size_t>(limit / width_ticks);
    }
    /// The times that are in a bin, if they fit doubles, from the origin on: from the first up to,
    /// but not including, the second.
    [[nodiscard]] std::pair<std::int64_t, std::int64_t> inside() const noexcept {
        return {truncates ? 1 - width_ticks : 0, width_ticks * static_cast<std::int64_t>(nBins)};
    }
    /// What times are multiplied with to divide them, if they fit doubles.
    [[nodiscard]] double get_reciprocal() const noexcept {
        return std::nextafter(1.0 / static_cast<double>(width_ticks), 1.0);
    }

private:
    /// Wraps below 0 and beyond 64 bits, and is then not less than any width.
    [[nodiscard]] std::uint64_t since_start(std::int64_t ticks) const noexcept {
        return static_cast<std::uint64_t>(ticks) - static_cast<std::uint64_t>(start);
    }

    libdivide::divider<std::int64_t> divider;
    std::int64_t width_ticks;
    std::size_t nBins;
    bool truncates;
    std::int64_t start;
};
