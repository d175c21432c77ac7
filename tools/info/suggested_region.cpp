#include "suggested_region.h"

#include <algorithm>
#include <numeric>

std::pair<std::size_t, std::size_t> ends_of(const std::vector<std::uint64_t>& counts,
                                            std::uint64_t nIgnored) {
    std::size_t first = 0;
    std::size_t last = counts.size() - 1;
    for (std::uint64_t n = counts[first]; n <= nIgnored && first < last; n += counts[first]) {
        ++first;
    }
    for (std::uint64_t n = counts[last]; n <= nIgnored && last > first; n += counts[last]) {
        --last;
    }
    return {first, last};
}

std::optional<Square> lit_part(const Survey_Image& image) {
    constexpr std::size_t size = Survey_Image::size;
    std::vector<std::uint64_t> columns(size);
    std::vector<std::uint64_t> rows(size);
    for (std::size_t i = 0; i < image.counts.size(); ++i) {
        columns[i % size] += image.counts[i];
        rows[i / size] += image.counts[i];
    }
    constexpr std::uint64_t one_in = 1000;
    const std::uint64_t nInside = std::accumulate(rows.begin(), rows.end(), std::uint64_t{0});
    const std::uint64_t nIgnored = (nInside + image.nOutside) / one_in;
    if (nInside == 0 || image.nOutside > nIgnored) {
        return std::nullopt;
    }
    const std::uint64_t at_each_side = (nIgnored - image.nOutside) / 4;
    const auto [x, x_last] = ends_of(columns, at_each_side);
    const auto [y, y_last] = ends_of(rows, at_each_side);
    const std::size_t side = std::max(x_last - x, y_last - y) + 1;
    if (2 * side * side >= size * size) {
        return std::nullopt;
    }
    const auto start = [side](std::size_t first, std::size_t last) {
        const std::size_t extra = side - (last - first + 1);
        return std::min(first - std::min(first, extra / 2), size - side);
    };
    return Square{start(x, x_last), start(y, y_last), side};
}
