#include "Time_Histogram.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <utility>

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
