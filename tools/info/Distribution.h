#pragma once

#include <array>
#include <cstdint>
#include <vector>

/// Values from `low` up to, but not including, `end`, of which there is at least one. Infinity is
/// in a bin of its own.
struct Value_Bin {
    double low;
    double end;
    double smallest;  ///< of the values
    double largest;
    std::uint64_t count;
};

/// How values are spread: bins in ascending order, which do not overlap.
using Distribution = std::vector<Value_Bin>;

/// How many values there are.
[[nodiscard]] std::uint64_t count_of(const Distribution& distribution) noexcept;

/// The parts of all values of which quantiles are given, in percent.
inline constexpr std::array<unsigned int, 7> quantile_percents{1, 5, 25, 50, 75, 95, 99};

/// Values up to which so many of all values lie.
struct Quantiles {
    std::array<double, quantile_percents.size()> values{};
    /// Whether they are the smallest such values; if not, others from the same bins. All occur.
    bool exact = true;

    [[nodiscard]] double median() const noexcept { return values[3]; }
    [[nodiscard]] double at_5_percent() const noexcept { return values[1]; }
    [[nodiscard]] double at_95_percent() const noexcept { return values[5]; }
};
static_assert(quantile_percents[1] == 5 && quantile_percents[3] == 50 &&
              quantile_percents[5] == 95);

/// There must be values.
[[nodiscard]] Quantiles quantiles_of(const Distribution& distribution);
