#pragma once

#include <libdivide.h>

#include <cmath>
#include <cstddef>
#include <cstdint>

// Equal bins along one axis, the first of which starts at 0. Division truncates toward zero, so the
// first bin also takes values less than one width below 0. The bin of a value outside the axis, on
// either side, is not below the number of bins.

/// The pixels of an image along one axis, over raw positions.
class Pixel_Axis {
public:
    /// `width` must be at least 1, `nPixels` below 2^31.
    Pixel_Axis(std::int32_t width, std::uint32_t nPixels_)
        : reciprocal(std::nextafter(1.0 / width, 1.0)), nPixels(nPixels_) {}

    /// The exact quotient q. The reciprocal is rounded up, by a factor below 1 + 2^-51, so that a
    /// product never falls short of q; nor does it reach q + 1, from which the true quotient is at
    /// least 1 / `width` away, as (q + 1) * `width` is below 2^32 and so far below 2^51.
    [[nodiscard]] std::uint32_t bin_of(std::int32_t position) const noexcept {
        return static_cast<std::uint32_t>(static_cast<std::int32_t>(position * reciprocal));
    }

    [[nodiscard]] bool contains(std::uint32_t pixel) const noexcept { return pixel < nPixels; }
    [[nodiscard]] std::size_t size() const noexcept { return nPixels; }

    /// What positions are multiplied with to divide them, in doubles.
    [[nodiscard]] double get_reciprocal() const noexcept { return reciprocal; }

private:
    double reciprocal;
    std::uint32_t nPixels;
};

/// The time bins of an image sequence, over ticks.
class Time_Axis {
public:
    /// `width` must not be 0.
    Time_Axis(std::int64_t width_, std::size_t nBins_)
        : divider(width_), width_ticks(width_), nBins(nBins_) {}

    [[nodiscard]] std::size_t bin_of(std::int64_t ticks) const noexcept {
        return static_cast<std::size_t>(ticks / divider);
    }

    [[nodiscard]] bool contains(std::size_t bin) const noexcept { return bin < nBins; }
    [[nodiscard]] std::size_t size() const noexcept { return nBins; }
    [[nodiscard]] std::int64_t width() const noexcept { return width_ticks; }

    /// Whether there are bins, and all their times may be divided in doubles, as positions are:
    /// they are below 2^51 ticks then.
    [[nodiscard]] bool fits_doubles() const noexcept {
        constexpr std::int64_t limit = std::int64_t{1} << 51U;
        return nBins > 0 && nBins <= static_cast<std::size_t>(limit / width_ticks);
    }
    /// The first time behind the last bin, if times fit doubles.
    [[nodiscard]] std::int64_t end() const noexcept {
        return width_ticks * static_cast<std::int64_t>(nBins);
    }
    /// What times are multiplied with to divide them, if they fit doubles.
    [[nodiscard]] double get_reciprocal() const noexcept {
        return std::nextafter(1.0 / static_cast<double>(width_ticks), 1.0);
    }

private:
    libdivide::divider<std::int64_t> divider;
    std::int64_t width_ticks;
    std::size_t nBins;
};
