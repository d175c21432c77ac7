#include "Distributions.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>

Alias_Table::Alias_Table(std::span<const double> weights) : cells(nCells) {
    // Rounding hides the last bits of the weights, which may differ between mathematical libraries.
    const double scale = 0x1p20 / *std::max_element(weights.begin(), weights.end());
    std::vector<std::uint64_t> shares(nCells);
    std::transform(weights.begin(), weights.end(), shares.begin(), [scale](double weight) {
        return static_cast<std::uint64_t>(std::llround(weight * scale));
    });
    // In units where an average share is `total`.
    const std::uint64_t total = std::accumulate(shares.begin(), shares.end(), std::uint64_t{0});
    std::vector<std::uint16_t> poor;
    std::vector<std::uint16_t> rich;
    for (std::size_t i = 0; i < nCells; ++i) {
        shares[i] *= nCells;
        (shares[i] < total ? poor : rich).push_back(static_cast<std::uint16_t>(i));
        cells[i] = {0, static_cast<std::uint16_t>(i)};
    }
    // Each poor cell is filled up by a rich one, which may become poor itself by that.
    while (!poor.empty() && !rich.empty()) {
        const std::uint16_t taker = poor.back();
        const std::uint16_t giver = rich.back();
        poor.pop_back();
        cells[taker] = {static_cast<std::uint16_t>(shares[taker] * 65536 / total), giver};
        shares[giver] -= total - shares[taker];
        if (shares[giver] < total) {
            rich.pop_back();
            poor.push_back(giver);
        }
    }
}

Quantile_Table::Quantile_Table(std::span<const double> weights, std::int64_t low, std::int64_t high)
    : knots(nSteps + 1) {
    const double total = std::accumulate(weights.begin(), weights.end(), 0.0);
    const auto range = static_cast<double>(high - low);
    const double part_width = range / static_cast<double>(weights.size());
    std::size_t part = 0;
    double below = 0;  // the weight of all parts before `part`
    for (std::size_t step = 0; step < nSteps; ++step) {
        const double wanted = total * static_cast<double>(step) / static_cast<double>(nSteps);
        while (below + weights[part] <= wanted) {
            below += weights[part];
            ++part;
        }
        const double place = static_cast<double>(part) + (wanted - below) / weights[part];
        knots[step] = low + std::llround(place * part_width);
    }
    knots[nSteps] = high;
}
