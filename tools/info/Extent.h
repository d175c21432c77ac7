#pragma once

#include <algorithm>
#include <limits>

/// The smallest and the largest of some values; the smallest is above the largest without any.
template <class Value>
struct Extent {
    using Limits = std::numeric_limits<Value>;

    Value smallest = Limits::has_infinity ? Limits::infinity() : Limits::max();
    Value largest = Limits::has_infinity ? -Limits::infinity() : Limits::lowest();

    void add(Value value) noexcept {
        // Branches, as values that are beyond all others become rare.
        if (value < smallest) [[unlikely]] {
            smallest = value;
        }
        if (value > largest) [[unlikely]] {
            largest = value;
        }
    }
    void add(const Extent& other) noexcept {
        smallest = std::min(smallest, other.smallest);
        largest = std::max(largest, other.largest);
    }
    [[nodiscard]] bool empty() const noexcept { return largest < smallest; }
};
