#include "valley.h"

#include "number_texts.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>
#include <vector>

namespace {

/// Counts in bins of equal width.
struct Even_Bins {
    double start;
    double width;
    std::vector<std::uint64_t> counts;

    [[nodiscard]] double edge(std::size_t bin) const {
        return start + width * static_cast<double>(bin);
    }
};

/// The bins without the outer ones that hold a thousandth of all values at each end.
std::span<const Value_Bin> without_tails(const Distribution& distribution) {
    constexpr std::uint64_t one_in = 1000;
    const std::uint64_t nIgnored = count_of(distribution) / one_in;
    std::size_t first = 0;
    std::size_t end = distribution.size();
    for (std::uint64_t n = 0; (n += distribution[first].count) <= nIgnored;) {
        ++first;
    }
    for (std::uint64_t n = 0; (n += distribution[end - 1].count) <= nIgnored;) {
        --end;
    }
    return std::span(distribution).subspan(first, end - first);
}

/// Bins so wide that none is empty only because those of the distribution are wider.
Even_Bins even_bins(std::span<const Value_Bin> bins, bool whole) {
    constexpr double most_bins = 80;
    const double low = bins.front().smallest;
    const double span = bins.back().largest - low;
    double width = span / most_bins;
    for (const Value_Bin& bin : bins) {
        width = std::max(width, 2 * (bin.largest - bin.smallest));
    }
    if (whole) {
        width = std::max(1.0, std::ceil(width));
    }
    Even_Bins even{low, width, std::vector<std::uint64_t>(1)};
    if (!std::isfinite(span) || width == 0) {
        return even;
    }
    even.counts.resize(static_cast<std::size_t>(span / width) + 1);
    for (const Value_Bin& bin : bins) {
        const auto i = static_cast<std::size_t>((bin.smallest - low) / width);
        even.counts[std::min(i, even.counts.size() - 1)] += bin.count;
    }
    return even;
}

/// Whether one count is so much smaller than another that this is neither noise nor a ripple.
bool clearly_less(std::uint64_t count, std::uint64_t other) {
    constexpr double ripple = 0.6;
    constexpr double deviations = 5;
    const auto low = static_cast<double>(count);
    const auto high = static_cast<double>(other);
    return low < ripple * high && high - low > deviations * std::sqrt(high + low);
}

/// The bins where counts turn: a peak, a valley, a peak and so on, each clearly unlike the next.
std::vector<std::size_t> turns_of(const std::vector<std::uint64_t>& counts) {
    std::vector<std::size_t> turns;
    std::size_t turn = 0;  // so far
    for (std::size_t i = 0; i < counts.size(); ++i) {
        const bool rises = turns.size() % 2 == 0;
        if (rises ? counts[i] > counts[turn] : counts[i] < counts[turn]) {
            turn = i;
        } else if (rises ? clearly_less(counts[i], counts[turn])
                         : clearly_less(counts[turn], counts[i])) {
            turns.push_back(turn);
            turn = i;
        }
    }
    if (turns.size() % 2 == 0) {
        turns.push_back(turn);
    }
    return turns;
}

/// The middle of the bins from this one on with the same count.
std::size_t middle_of_run(const std::vector<std::uint64_t>& counts, std::size_t first) {
    std::size_t last = first;
    while (last + 1 < counts.size() && counts[last + 1] == counts[first]) {
        ++last;
    }
    return first + (last - first + 1) / 2;
}

std::uint64_t count_from(const Distribution& distribution, double bound) {
    const auto first = std::ranges::lower_bound(distribution, bound, {}, &Value_Bin::smallest);
    return count_of({first, distribution.end()});
}

}  // namespace

std::optional<Valley> find_valley(const Distribution& distribution, bool whole) {
    constexpr std::uint64_t one_in = 100;
    if (distribution.empty()) {
        return std::nullopt;
    }
    const Even_Bins bins = even_bins(without_tails(distribution), whole);
    const std::vector<std::size_t> turns = turns_of(bins.counts);
    if (turns.size() != 3) {
        return std::nullopt;
    }
    const std::size_t lowest = middle_of_run(bins.counts, turns[1]);
    const double bound =
        whole ? bins.edge(lowest) : shortest_between(bins.edge(lowest), bins.edge(lowest + 1));
    const std::uint64_t nAbove = count_from(distribution, bound);
    const std::uint64_t nAll = count_of(distribution);
    if (nAbove < nAll / one_in || nAll - nAbove < nAll / one_in) {
        return std::nullopt;
    }
    return Valley{bins.edge(turns[0]), bound, bins.edge(turns[2]), nAbove};
}
