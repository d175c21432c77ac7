#include "Log_Histogram.h"

#include <algorithm>
#include <cmath>

Log_Histogram& Log_Histogram::operator+=(const Log_Histogram& other) {
    for (const std::size_t power : other.used) {
        if (powers[power] == nullptr) {
            make_bins(power);
        }
        Bins& bins = *powers[power];
        for (std::size_t i = 0; i < nBins; ++i) {
            const Bin& more = (*other.powers[power])[i];
            if (more.count > 0) {
                bins[i].count += more.count;
                bins[i].smallest = std::min(bins[i].smallest, more.smallest);
                bins[i].largest = std::max(bins[i].largest, more.largest);
            }
        }
    }
    nInfinite += other.nInfinite;
    notNumbers += other.notNumbers;
    return *this;
}

void Log_Histogram::clear() noexcept {
    for (const std::size_t power : used) {
        powers[power]->fill({});
    }
    nInfinite = notNumbers = 0;
}

Distribution Log_Histogram::distribution() const {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    Distribution found;
    const auto add = [&](std::size_t power, std::size_t i, double low, double end) {
        const Bin& bin = (*powers[power])[i];
        if (bin.count > 0) {
            found.push_back({low, end, bin.smallest, bin.largest, bin.count});
        }
    };
    for (std::size_t power = powers.size(); power-- > nExponents;) {
        for (std::size_t i = powers[power] == nullptr ? 0 : nBins; i-- > 0;) {
            const std::size_t number = (power - nExponents) * nBins + i;
            add(power, i, -edge(number + 1), 0 - edge(number));
        }
    }
    for (std::size_t power = 0; power < nExponents; ++power) {
        for (std::size_t i = 0; i < nBins && powers[power] != nullptr; ++i) {
            const std::size_t number = power * nBins + i;
            add(power, i, edge(number), edge(number + 1));
        }
    }
    if (nInfinite > 0) {
        found.push_back({infinity, infinity, infinity, infinity, nInfinite});
    }
    return found;
}

bool Log_Histogram::add_if_odd(double value, std::size_t power) noexcept {
    if (std::isnan(value)) {
        ++notNumbers;
        return true;
    }
    const bool isInfinity = power == nExponents - 1;
    nInfinite += isInfinity ? 1 : 0;
    return isInfinity;
}

void Log_Histogram::make_bins(std::size_t power) {
    powers[power] = std::make_unique<Bins>();
    used.push_back(power);
}

double Log_Histogram::edge(std::size_t number) noexcept {
    return std::bit_cast<double>(std::uint64_t{number} << (mantissa_bits - bin_bits));
}
