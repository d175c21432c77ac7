#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/// Counts over a time of which nothing is known beforehand. Bins are a power of two of ticks wide,
/// and so wide that 131072 of them hold all times so far: who draws them can cut them into
/// multiples of a trigger period.
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
    static constexpr std::uint64_t nBins = std::uint64_t{1} << 17;

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
