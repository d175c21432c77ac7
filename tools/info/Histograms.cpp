#include "Histograms.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>
#include <limits>
#include <numeric>

Binned in_whole_bins(const Binned& binned) {
    Binned whole;
    for (std::size_t bin = 0; bin < binned.counts.size(); ++bin) {
        if (bin == 0 || binned.edges[bin] == std::floor(binned.edges[bin])) {
            whole.edges.push_back(std::floor(binned.edges[bin]));
            whole.counts.push_back(0);
        }
        whole.counts.back() += binned.counts[bin];
    }
    whole.edges.push_back(std::ceil(binned.edges.back()));
    return whole;
}

Quantiles quantiles_of(const Binned& binned, bool whole) {
    const auto total = static_cast<double>(
        std::accumulate(binned.counts.begin(), binned.counts.end(), std::uint64_t{0}));
    Quantiles quantiles{};
    std::size_t bin = 0;
    double before = 0;
    for (std::size_t i = 0; i < quantiles.size(); ++i) {
        const double rank = quantile_parts.at(i) * total;
        while (bin + 1 < binned.counts.size() &&
               before + static_cast<double>(binned.counts[bin]) < rank) {
            before += static_cast<double>(binned.counts[bin++]);
        }
        const double low = binned.edges[bin];
        const double width = binned.edges[bin + 1] - low;
        const double part = (rank - before) / static_cast<double>(binned.counts[bin]);
        const double value = std::isinf(low) || (whole && width <= 1) ? low : low + part * width;
        quantiles.at(i) = whole ? std::floor(value) : value;
    }
    return quantiles;
}

double Log_Histogram::edge(std::size_t bin) noexcept {
    const auto power = static_cast<int>(bin >> bits) + least_power;
    const auto part = static_cast<double>(bin & ((std::size_t{1} << bits) - 1));
    return std::ldexp(1 + part / (1 << bits), power);
}

Log_Histogram& Log_Histogram::operator+=(const Log_Histogram& other) noexcept {
    for (std::size_t bin = 0; bin < counts.size(); ++bin) {
        counts[bin] += other.counts[bin];
    }
    return *this;
}

Binned Log_Histogram::binned(double smallest, double largest) const {
    const bool any_below = counts[below] > 0;
    const bool any_beyond = counts[beyond] > 0;
    std::size_t begin = 0;
    std::size_t end = nBins;
    while (!any_below && begin < end && counts[begin] == 0) {
        ++begin;
    }
    while (!any_beyond && begin < end && counts[end - 1] == 0) {
        --end;
    }
    Binned binned;
    const auto add = [&binned](double low, std::uint64_t count) {
        binned.edges.push_back(low);
        binned.counts.push_back(count);
    };
    if (any_below) {
        add(smallest, counts[below]);
    }
    for (std::size_t bin = begin; bin < end; ++bin) {
        add(edge(bin), counts[bin]);
    }
    if (any_beyond) {
        add(edge(nBins), counts[beyond]);
    }
    binned.edges.push_back(any_beyond ? largest : edge(end));
    return binned;
}

void Time_Histogram::add(std::span<const std::int64_t> ascending) {
    if (ascending.empty()) {
        return;
    }
    cover(ascending.front(), ascending.back());
    while (!ascending.empty()) {
        const std::int64_t position = ascending.front() >> shift;
        const auto in_bin = [&](std::int64_t time) { return time >> shift == position; };
        const auto end = std::ranges::partition_point(ascending, in_bin);
        const auto n = static_cast<std::size_t>(end - ascending.begin());
        bins[static_cast<std::size_t>(position - first)] += n;
        ascending = ascending.subspan(n);
    }
}

Time_Histogram& Time_Histogram::operator+=(const Time_Histogram& other) {
    if (other.empty) {
        return *this;
    }
    cover(other.earliest, other.latest);
    assert(shift >= other.shift);
    for (std::size_t bin = 0; bin < nBins; ++bin) {
        if (other.bins[bin] > 0) {
            const auto position = other.first + static_cast<std::int64_t>(bin);
            bins[static_cast<std::size_t>((position >> (shift - other.shift)) - first)] +=
                other.bins[bin];
        }
    }
    return *this;
}

double Time_Histogram::start() const noexcept {
    return std::ldexp(static_cast<double>(earliest >> shift), shift);
}

double Time_Histogram::bin_width() const noexcept {
    return std::ldexp(1.0, shift);
}

std::span<const std::uint64_t> Time_Histogram::counts() const noexcept {
    if (empty) {
        return {};
    }
    const std::size_t begin = bin_of(earliest);
    return std::span(bins).subspan(begin, bin_of(latest) - begin + 1);
}

void Time_Histogram::cover(std::int64_t smallest, std::int64_t largest) {
    earliest = empty ? smallest : std::min(earliest, smallest);
    latest = empty ? largest : std::max(latest, largest);
    const auto fits = [this](int bin_shift, std::int64_t from) {
        const auto last = static_cast<std::uint64_t>(latest >> bin_shift);
        return last - static_cast<std::uint64_t>(from) < nBins;
    };
    if (!empty && (earliest >> shift) >= first && fits(shift, first)) {
        return;
    }
    int wider = shift;
    while (!fits(wider, earliest >> wider)) {
        ++wider;
    }
    std::vector<std::uint64_t> moved(nBins);
    const std::int64_t from = earliest >> wider;
    for (std::size_t bin = 0; bin < nBins; ++bin) {
        if (bins[bin] > 0) {
            const auto position = first + static_cast<std::int64_t>(bin);
            moved[static_cast<std::size_t>((position >> (wider - shift)) - from)] += bins[bin];
        }
    }
    bins = std::move(moved);
    shift = wider;
    first = from;
    empty = false;
}
