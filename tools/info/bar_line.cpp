#include "bar_line.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

namespace {

std::size_t bins_per_bar(std::size_t nBins, std::optional<double> period) {
    constexpr std::size_t most_bars = 60;
    const std::size_t least = (nBins + most_bars - 1) / most_bars;
    if (!period || 2 * static_cast<double>(least) < *period) {
        return least;
    }
    const auto mismatch = [&](std::size_t n) {
        const double periods = static_cast<double>(n) / *period;
        return std::fabs(periods - std::round(periods)) / periods;
    };
    constexpr double good_match = 0.01;
    std::size_t best = least;
    for (std::size_t n = least; n < 3 * least && mismatch(best) > good_match; ++n) {
        best = mismatch(n) < mismatch(best) ? n : best;
    }
    return best;
}

}  // namespace

Bar_Line bar_line(std::span<const std::uint64_t> counts, std::optional<double> period) {
    constexpr std::array<const char*, 9> levels{" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    constexpr double highest = levels.size() - 1;
    Bar_Line line{"", bins_per_bar(counts.size(), period), 0};
    std::vector<double> densities;  // as the last bar may hold fewer bins
    double highest_density = std::numeric_limits<double>::min();  // of the others
    for (auto rest = counts; !rest.empty();) {
        const auto bins = rest.first(std::min(line.bar_bins, rest.size()));
        const std::uint64_t count = std::accumulate(bins.begin(), bins.end(), std::uint64_t{0});
        line.most = std::max(line.most, count);
        densities.push_back(static_cast<double>(count) / static_cast<double>(bins.size()));
        if (bins.size() == line.bar_bins) {
            highest_density = std::max(highest_density, densities.back());
        }
        rest = rest.subspan(bins.size());
    }
    for (const double density : densities) {
        const double part = std::min(density / highest_density, 1.0);
        line.bars += levels.at(static_cast<std::size_t>(std::ceil(highest * part)));
    }
    return line;
}
