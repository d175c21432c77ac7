#pragma once

#include "Distribution.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

/// Counts of numbers of which nothing is known beforehand. A bin is 1/128 as wide as the power of
/// two that its numbers have reached.
class Log_Histogram {
public:
    /// Throws: std::bad_alloc.
    void add(double value);

    /// Throws: std::bad_alloc.
    Log_Histogram& operator+=(const Log_Histogram& other);
    void clear() noexcept;

    /// All that has been added but NaN.
    [[nodiscard]] Distribution distribution() const;

    [[nodiscard]] std::uint64_t nNaN() const noexcept { return notNumbers; }

private:
    // The highest bits of a number, its sign and exponent, select a power, the next ones its bin.
    static constexpr int mantissa_bits = std::numeric_limits<double>::digits - 1;
    static constexpr int bin_bits = 7;
    static constexpr std::size_t nBins = std::size_t{1} << bin_bits;
    static constexpr std::size_t nExponents = 2048;

    struct Bin {
        std::uint64_t count = 0;
        double smallest = std::numeric_limits<double>::infinity();
        double largest = -std::numeric_limits<double>::infinity();
    };
    using Bins = std::array<Bin, nBins>;

    /// Adds a value of which there are never bins. Returns whether it is one.
    bool add_if_odd(double value, std::size_t power) noexcept;
    void make_bins(std::size_t power);
    /// Where the bin with this number begins, counted from zero through all exponents.
    [[nodiscard]] static double edge(std::size_t number) noexcept;

    std::array<std::unique_ptr<Bins>, 2 * nExponents> powers;
    std::vector<std::size_t> used;  ///< powers of which there are bins
    std::uint64_t nInfinite = 0;    ///< minus infinity is beside the lowest numbers
    std::uint64_t notNumbers = 0;
};

inline void Log_Histogram::add(double value) {
    value += 0.0;  // there is but one zero
    auto pattern = std::bit_cast<std::uint64_t>(value);
    pattern -= pattern >> 63U;  // below zero too, bins are half-open upwards
    const std::size_t power = pattern >> mantissa_bits;
    if (powers[power] == nullptr) {
        if (add_if_odd(value, power)) {
            return;
        }
        make_bins(power);
    }
    Bin& bin = (*powers[power])[(pattern >> (mantissa_bits - bin_bits)) % nBins];
    ++bin.count;
    bin.smallest = value < bin.smallest ? value : bin.smallest;
    bin.largest = value > bin.largest ? value : bin.largest;
}
