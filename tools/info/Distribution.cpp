#include "Distribution.h"

#include <cstddef>

std::uint64_t count_of(const Distribution& distribution) noexcept {
    std::uint64_t sum = 0;
    for (const Value_Bin& bin : distribution) {
        sum += bin.count;
    }
    return sum;
}

Quantiles quantiles_of(const Distribution& distribution) {
    constexpr std::uint64_t all = 100;
    const std::uint64_t total = count_of(distribution);
    Quantiles quantiles{};
    auto bin = distribution.begin();
    std::uint64_t before = 0;
    for (std::size_t i = 0; i < quantiles.values.size(); ++i) {
        const std::uint64_t rank = (quantile_percents.at(i) * total + all - 1) / all;
        while (before + bin->count < rank) {
            before += bin++->count;
        }
        const bool in_lower_half = 2 * (rank - before) <= bin->count;
        quantiles.values.at(i) = in_lower_half ? bin->smallest : bin->largest;
        quantiles.exact = quantiles.exact && bin->smallest == bin->largest;
    }
    return quantiles;
}
