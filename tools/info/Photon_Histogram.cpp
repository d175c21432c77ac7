#include "Photon_Histogram.h"

#include <algorithm>
#include <functional>

Photon_Histogram& Photon_Histogram::operator+=(const Photon_Histogram& other) {
    std::ranges::transform(few, other.few, few.begin(), std::plus());
    many += other.many;
    extent_of_many.add(other.extent_of_many);
    return *this;
}

void Photon_Histogram::clear() noexcept {
    std::ranges::fill(few, 0);
    many.clear();
    extent_of_many = {};
}

Distribution Photon_Histogram::distribution() const {
    Distribution found;
    for (std::size_t n = 0; n < few.size(); ++n) {
        if (few[n] > 0) {
            const auto value = static_cast<double>(n);
            found.push_back({value, value + 1, value, value, few[n]});
        }
    }
    const Distribution more = many.distribution();
    found.insert(found.end(), more.begin(), more.end());
    return found;
}

Extent<std::uint64_t> Photon_Histogram::extent() const noexcept {
    Extent<std::uint64_t> extent = extent_of_many;
    for (std::size_t n = 0; n < few.size(); ++n) {
        if (few[n] > 0) {
            extent.add(n);
        }
    }
    return extent;
}

void Photon_Histogram::add_to_many(std::uint64_t nPhotons) {
    many.add(static_cast<double>(nPhotons));
    extent_of_many.add(nPhotons);
}
