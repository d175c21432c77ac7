#include "histogram_text.h"

#include "histogram_rows.h"
#include "number_texts.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace {

constexpr std::size_t text_width = 38;

/// From a little below the first quantile to a little above the last.
Row_Range range_of(const Distribution& distribution, bool whole) {
    constexpr double margin = 0.5;
    const Quantiles quantiles = quantiles_of(distribution);
    const double first = quantiles.values.front();
    const double last = quantiles.values.back();
    const double spread = margin * (last - first);
    return {std::max(distribution.front().smallest, first - spread),
            std::min(distribution.back().largest, last + spread), whole,
            std::numeric_limits<double>::infinity()};
}

/// Some rows on either side of the peaks, and some between them.
Row_Range around(const Valley& valley, Row_Range range) {
    const double rows_between_peaks = range.whole ? 5 : 3;
    constexpr double rows_beside = 2;
    range.widest = (valley.upper_peak - valley.lower_peak) / rows_between_peaks;
    range.low = std::max(range.low, valley.lower_peak - rows_beside * range.widest);
    range.high = std::min(range.high, valley.upper_peak + rows_beside * range.widest);
    return range;
}

std::string right_aligned(const std::string& text, std::size_t width) {
    return std::string(width - text.size(), ' ') + text;
}

/// A row as it is written; those on either side have no bar.
struct Line {
    std::string name;
    std::string count;
    double bar;  ///< part of the longest one
};

std::vector<Line> lines_of(const Histogram_Rows& shown) {
    std::uint64_t most = 1;
    for (const Histogram_Row& row : shown.rows) {
        most = std::max(most, row.count);
    }
    std::vector<Line> lines;
    if (shown.below > 0) {
        lines.push_back({"below", grouped(shown.below), 0});
    }
    for (const auto& [name, count] : shown.rows) {
        lines.push_back(
            {name, grouped(count), static_cast<double>(count) / static_cast<double>(most)});
    }
    if (shown.above > 0) {
        lines.push_back({"above", grouped(shown.above), 0});
    }
    return lines;
}

std::vector<std::string> aligned(const std::vector<Line>& lines) {
    constexpr std::size_t blanks = 4;
    constexpr std::size_t shortest_bar = 3;
    std::size_t name_width = 0;
    std::size_t count_width = 0;
    for (const Line& line : lines) {
        name_width = std::max(name_width, line.name.size());
        count_width = std::max(count_width, line.count.size());
    }
    const std::size_t before_bar = blanks + name_width + count_width;
    const auto longest =
        static_cast<double>(std::max(text_width, before_bar + shortest_bar) - before_bar);
    std::vector<std::string> texts;
    texts.reserve(lines.size());
    for (const Line& line : lines) {
        texts.push_back("  " + right_aligned(line.name, name_width) + " " +
                        right_aligned(line.count, count_width) + " " +
                        std::string(static_cast<std::size_t>(std::round(longest * line.bar)), '#'));
    }
    return texts;
}

}  // namespace

std::vector<std::string> histogram_text(const std::string& title, const Distribution& distribution,
                                        const std::optional<Valley>& valley, bool whole) {
    if (distribution.empty()) {
        return {};
    }
    const Row_Range range = range_of(distribution, whole);
    if (!std::isfinite(range.high - range.low)) {
        return {};
    }
    std::vector<std::string> texts =
        aligned(lines_of(histogram_rows(distribution, valley ? around(*valley, range) : range)));
    texts.insert(texts.begin(), title);
    return texts;
}

std::string side_by_side(const std::vector<std::string>& left,
                         const std::vector<std::string>& right) {
    constexpr std::size_t gap = 2;
    std::size_t start = 0;  // of the right one
    for (const std::string& line : left) {
        start = std::max({start, line.size() + gap, text_width + gap});
    }
    std::string text;
    for (std::size_t i = 0; i < std::max(left.size(), right.size()); ++i) {
        std::string line = i < left.size() ? left[i] : "";
        if (i < right.size()) {
            line.resize(start, ' ');
            line += right[i];
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + '\n';
    }
    return text;
}
