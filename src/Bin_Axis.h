#pragma once

#include <libdivide.h>

#include <cstddef>

/// Equal bins along one axis, the first of which starts at 0. Division truncates toward zero, so
/// the first bin also takes values less than one width below 0.
template <class Value>
class Bin_Axis {
public:
    /// `width` must not be 0.
    Bin_Axis(Value width, std::size_t nBins_) : divider(width), nBins(nBins_) {}

    /// The bin of a value; not below `nBins` if there is none, on either side.
    [[nodiscard]] std::size_t bin_of(Value value) const noexcept {
        return static_cast<std::size_t>(value / divider);
    }

    [[nodiscard]] bool contains(std::size_t bin) const noexcept { return bin < nBins; }
    [[nodiscard]] std::size_t size() const noexcept { return nBins; }

private:
    libdivide::divider<Value> divider;
    std::size_t nBins;
};
