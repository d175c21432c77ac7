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

/// The largest such width that is not above `most`.
Row_Width decimal_width_within(double most) {
    const Row_Width ten = power_of(10, std::floor(std::log10(most)));
    for (const int factor : {5, 2}) {
        if (ten.times(factor) <= most) {
            return {factor * ten.dividend, ten.divisor};
        }
    }
    return ten;
}

/// The smallest power of two that is not below `least`: bins, if narrower, begin at its multiples.
Row_Width binary_width(double least) {
    return power_of(2, std::ceil(std::log2(least)));
}

Row_Width narrower(const Row_Width& a, const Row_Width& b) {
    return a.times(1) < b.times(1) ? a : b;
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

/// All whole numbers from the first to the last.
std::string range_name(double first, double last) {
    const std::string name = grouped(static_cast<std::uint64_t>(first));
    return first < last ? name + "-" + grouped(static_cast<std::uint64_t>(last)) : name;
}

/// Gives numbers the same number of decimals.
void align_decimals(std::vector<Histogram_Row>& rows) {
    const auto decimals = [](const std::string& name) {
        const std::size_t point = name.find('.');
        return point == std::string::npos ? 0 : name.size() - point - 1;
    };
    std::size_t most = 0;
    for (const Histogram_Row& row : rows) {
        if (row.name.find('e') != std::string::npos) {
            return;
        }
        most = std::max(most, decimals(row.name));
    }
    for (Histogram_Row& row : rows) {
        const std::size_t nZeros = most - decimals(row.name);
        if (nZeros > 0 && nZeros == most) {
            row.name += '.';
        }
        row.name.append(nZeros, '0');
    }
}

/// Shares bins out to rows.
class Row_Maker {
public:
    /// `whole` is for values that are whole numbers.
    Row_Maker(const Distribution& distribution, bool whole_)
        : whole(whole_),
          smallest(distribution.front().smallest),
          bin(distribution.begin()),
          end(distribution.end()) {}

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
        align_decimals(found.rows);
        return found;
    }

    /// Whether a row would have begun within a bin, so that its name is not true.
    [[nodiscard]] bool has_split_bins() const noexcept { return split; }

private:
    void add_row(const Row_Width& width, std::int64_t n, std::vector<Histogram_Row>& rows) {
        const double start = width.times(n);
        const double named = whole ? std::max(start, smallest) : start;
        const double last_before = before;
        double first = infinity;
        if (bin != end) {
            first = bin->smallest;
        }
        const std::uint64_t count = count_up_to(width.times(n + 1));
        const bool within_bin = last_before >= start;
        if (count > 0 || !within_bin) {
            const double next = width.times(n + 1);
            constexpr double readable = 1e6;
            const bool has_range = whole && next - start > 1 && next < readable;
            rows.push_back({has_range ? range_name(named, next - 1)
                                      : name_of(named, width.times(1), last_before, first),
                            count});
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

    bool whole;
    double smallest;
    Distribution::const_iterator bin;
    Distribution::const_iterator end;
    double before = -infinity;  ///< the largest value that has been counted
    bool split = false;
};

}  // namespace

Histogram_Rows histogram_rows(const Distribution& distribution, const Row_Range& range) {
    constexpr double most_rows = 10;
    const double low = range.low;
    const double high = range.high;
    const double span = high > low ? high - low : std::max(std::fabs(high), 1.0);
    const double narrowest = range.whole ? 1 : std::numeric_limits<double>::min();
    const double least = std::max(span / most_rows, narrowest);
    const double widest = std::max(range.widest, narrowest);
    Row_Maker decimal(distribution, range.whole);
    Histogram_Rows rows =
        decimal.make(narrower(decimal_width(least), decimal_width_within(widest)), low, high);
    if (!decimal.has_split_bins()) {
        return rows;
    }
    return Row_Maker(distribution, range.whole)
        .make(narrower(binary_width(least), binary_width(widest / 2)), low, high);
}
