#include "histogram_rows.h"

#include "number_texts.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

/// Where rows start: at the multiples of a width, which is a quotient so that they are rounded but
/// once.
struct Row_Width {
    double dividend;
    double divisor;

    [[nodiscard]] double times(std::int64_t n) const {
        return static_cast<double>(n) * dividend / divisor;
    }
};

Row_Width power_of(double base, double power) {
    return power < 0 ? Row_Width{1, std::pow(base, -power)} : Row_Width{std::pow(base, power), 1};
}

/// The smallest width of 1, 2 or 5 times a power of ten that is not below `least`.
Row_Width decimal_width(double least) {
    const Row_Width ten = power_of(10, std::floor(std::log10(least)));
    for (const int factor : {1, 2, 5}) {
        if (ten.times(factor) >= least) {
            return {factor * ten.dividend, ten.divisor};
        }
    }
    return {10 * ten.dividend, ten.divisor};
}

/// The smallest power of two that is not below `least`: bins, if narrower, begin at its multiples.
Row_Width binary_width(double least) {
    return power_of(2, std::ceil(std::log2(least)));
}

/// The number in the fewest digits, but at least four, that say the same of values up to `before`
/// and from `first` on: it is larger than the former, and not larger than the latter. It is less
/// than half a row's width off, so that no two rows have the same.
std::string name_of(double number, double width, double before, double first) {
    constexpr int all_digits = std::numeric_limits<double>::max_digits10;
    for (int significant = 4; significant < all_digits; ++significant) {
        std::string text = digits(number, significant);
        std::string plain = text;
        std::erase(plain, ',');
        const double read = std::strtod(plain.c_str(), nullptr);
        if (before < read && read <= first && std::fabs(read - number) < width / 2) {
            return text;
        }
    }
    return digits(number, all_digits);
}

/// Shares bins out to rows.
class Row_Maker {
public:
    explicit Row_Maker(const Distribution& distribution)
        : bin(distribution.begin()), end(distribution.end()) {}

    Histogram_Rows make(const Row_Width& width, double low, double high) {
        Histogram_Rows found;
        auto n = static_cast<std::int64_t>(std::floor(low / width.times(1)));
        found.below = count_up_to(width.times(n));
        for (; width.times(n) <= high; ++n) {
            if (width.times(n) < width.times(n + 1)) {  // not so where numbers lie further apart
                add_row(width, n, found.rows);
            }
        }
        found.above = count_of({bin, end});
        return found;
    }

    /// Whether a row would have begun within a bin, so that its name is not true.
    [[nodiscard]] bool has_split_bins() const noexcept { return split; }

private:
    void add_row(const Row_Width& width, std::int64_t n, std::vector<Histogram_Row>& rows) {
        const double start = width.times(n);
        const double last_before = before;
        double first = infinity;
        if (bin != end) {
            first = bin->smallest;
        }
        const std::uint64_t count = count_up_to(width.times(n + 1));
        const bool within_bin = last_before >= start;
        if (count > 0 || !within_bin) {
            rows.push_back({name_of(start, width.times(1), last_before, first), count});
        }
        split = split || within_bin;
    }

    /// Counts the bins that are left and begin before `limit`.
    std::uint64_t count_up_to(double limit) {
        std::uint64_t count = 0;
        for (; bin != end && bin->smallest < limit; ++bin) {
            count += bin->count;
            before = bin->largest;
        }
        return count;
    }

    Distribution::const_iterator bin;
    Distribution::const_iterator end;
    double before = -infinity;  ///< the largest value that has been counted
    bool split = false;
};

}  // namespace

Histogram_Rows histogram_rows(const Distribution& distribution, const Row_Range& range) {
    constexpr double most_rows = 20;
    const double low = range.low;
    const double high = range.high;
    const double span = high > low ? high - low : std::max(std::fabs(high), 1.0);
    const double smallest = range.whole ? 1 : std::numeric_limits<double>::min();
    // A width may be so many times as large as the least one that was asked for.
    constexpr double decimal_step = 2.5;
    constexpr double binary_step = 2;
    const auto least = [&](double step) {
        return std::max(std::min(span / most_rows, range.widest / step), smallest);
    };
    Row_Maker decimal(distribution);
    Histogram_Rows rows = decimal.make(decimal_width(least(decimal_step)), low, high);
    return decimal.has_split_bins()
               ? Row_Maker(distribution).make(binary_width(least(binary_step)), low, high)
               : rows;
}
