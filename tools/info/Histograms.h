#pragma once

#include "Event.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

/// Counts in bins: bin i holds the values from `edges[i]` up to, but not including, `edges[i + 1]`.
struct Binned {
    std::vector<double> edges;  ///< one more than counts, ascending
    std::vector<std::uint64_t> counts;
};

/// The same counts in bins that begin at whole numbers, where no value lies between these.
[[nodiscard]] Binned in_whole_bins(const Binned& binned);

/// The parts of the values below which quantiles are given.
inline constexpr std::array quantile_parts{0.01, 0.05, 0.25, 0.5, 0.75, 0.95, 0.99};
using Quantiles = std::array<double, quantile_parts.size()>;

/// The values below which these parts of all values lie. Values are spread evenly over their bin;
/// if they are `whole`, a bin as wide as 1 holds its lower edge only.
/// There must be values.
[[nodiscard]] Quantiles quantiles_of(const Binned& binned, bool whole);

/// Counts of values of which nothing is known beforehand: bins are 1/64 as wide as the power of two
/// that they lie above, so whole numbers below 128 have a bin each. What is smaller than 2^-16 is
/// in one bin, as is what is at least 2^64.
class Log_Histogram {
public:
    void add(double value, std::uint64_t times = 1) noexcept { counts[bin_of(value)] += times; }

    Log_Histogram& operator+=(const Log_Histogram& other) noexcept;
    void clear() noexcept { counts.fill(0); }

    /// The bins from the first to the last that holds anything. The one below all others begins at
    /// the smallest value, the one beyond them ends at the largest; NaN is in none.
    [[nodiscard]] Binned binned(double smallest, double largest) const;

    [[nodiscard]] std::uint64_t nNaN() const noexcept { return counts[nan_bin]; }

private:
    static constexpr int bits = 6;
    static constexpr int least_power = -16;
    static constexpr int end_power = 64;
    static constexpr std::size_t nBins = std::size_t{end_power - least_power} << bits;
    static constexpr std::size_t below = nBins;
    static constexpr std::size_t beyond = nBins + 1;
    static constexpr std::size_t nan_bin = nBins + 2;

    [[nodiscard]] static std::size_t bin_of(double value) noexcept;
    [[nodiscard]] static std::size_t odd_bin_of(double value) noexcept {
        return std::isnan(value) ? nan_bin : value < 1 ? below : beyond;
    }
    [[nodiscard]] static double edge(std::size_t bin) noexcept;

    std::array<std::uint64_t, nBins + 3> counts{};
};

/// Counts over a time of which nothing is known beforehand. Bins are a power of two of ticks wide,
/// and so wide that 2048 of them hold all times so far.
class Time_Histogram {
public:
    void add(std::span<const std::int64_t> ascending);

    Time_Histogram& operator+=(const Time_Histogram& other);

    /// Units: ticks; wider than 64 bits where times are at the ends of what an event can hold.
    [[nodiscard]] double start() const noexcept;
    [[nodiscard]] double bin_width() const noexcept;
    /// The bins from the smallest to the largest time; none without times.
    [[nodiscard]] std::span<const std::uint64_t> counts() const noexcept;

private:
    static constexpr std::uint64_t nBins = 2048;

    [[nodiscard]] std::size_t bin_of(std::int64_t time) const noexcept {
        return static_cast<std::size_t>((time >> shift) - first);
    }
    void cover(std::int64_t smallest, std::int64_t largest);

    bool empty = true;
    std::int64_t earliest = 0;
    std::int64_t latest = 0;
    int shift = 0;           ///< bins are 2^shift ticks wide
    std::int64_t first = 0;  ///< time of bin 0, in bins
    std::vector<std::uint64_t> bins = std::vector<std::uint64_t>(nBins);
};

inline std::size_t Log_Histogram::bin_of(double value) noexcept {
    constexpr int mantissa_bits = std::numeric_limits<double>::digits - 1;
    constexpr int bias = std::numeric_limits<double>::max_exponent - 1;
    constexpr std::uint64_t base = std::uint64_t{bias + least_power} << bits;
    // A positive double's bits, read as a whole number, are in the order of the values. What is
    // below wraps, and negative ones have their highest bit set: one comparison finds all others.
    const std::uint64_t key =
        (std::bit_cast<std::uint64_t>(value) >> (mantissa_bits - bits)) - base;
    return key < nBins ? key : odd_bin_of(value);
}
