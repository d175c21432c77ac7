#include "valley.h"

#include "number_texts.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
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

/// Where in the turns the first peak is that has less than a hundredth of all values between the
/// valleys on either side; the end if there is none.
std::size_t find_small_peak(const std::vector<std::uint64_t>& counts,
                            const std::vector<std::size_t>& turns) {
    constexpr std::uint64_t one_in = 100;
    const auto sum = [&](std::size_t begin, std::size_t end) {
        const auto bins = std::span(counts).subspan(begin, end - begin);
        return std::accumulate(bins.begin(), bins.end(), std::uint64_t{0});
    };
    const std::uint64_t least = sum(0, counts.size()) / one_in;
    for (std::size_t peak = 0; peak < turns.size(); peak += 2) {
        const std::size_t begin = peak == 0 ? 0 : turns[peak - 1];
        const std::size_t end = peak + 1 == turns.size() ? counts.size() : turns[peak + 1];
        if (sum(begin, end) < least) {
            return peak;
        }
    }
    return turns.size();
}

/// Takes small peaks out of the turns, each with the shallower of the valleys beside it.
void drop_small_peaks(const std::vector<std::uint64_t>& counts, std::vector<std::size_t>& turns) {
    for (std::size_t peak; (peak = find_small_peak(counts, turns)) < turns.size();) {
        const bool is_last = peak + 1 == turns.size();
        const bool with_next =
            peak == 0 || (!is_last && counts[turns[peak + 1]] > counts[turns[peak - 1]]);
        const auto first = turns.begin() + static_cast<std::ptrdiff_t>(with_next ? peak : peak - 1);
        turns.erase(first, first + 2);
    }
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
    if (distribution.empty()) {
        return std::nullopt;
    }
    const Even_Bins bins = even_bins(without_tails(distribution), whole);
    std::vector<std::size_t> turns = turns_of(bins.counts);
    drop_small_peaks(bins.counts, turns);
    if (turns.size() != 3) {
        return std::nullopt;
    }
    const std::size_t lowest = middle_of_run(bins.counts, turns[1]);
    const double bound =
        whole ? bins.edge(lowest) : shortest_between(bins.edge(lowest), bins.edge(lowest + 1));
    return Valley{bins.edge(turns[0]), bound, bins.edge(turns[2]), count_from(distribution, bound)};
}
