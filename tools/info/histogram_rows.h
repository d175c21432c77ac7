#pragma once

#include "Distribution.h"

#include <cstdint>
#include <string>
#include <vector>

/// The values from a number on, up to the row that follows.
struct Histogram_Row {
    std::string name;  ///< the number
    std::uint64_t count;
};

/// A histogram to be read: all counts are exact, as no bin is divided among rows.
struct Histogram_Rows {
    std::uint64_t below = 0;  ///< before all rows
    std::vector<Histogram_Row> rows;
    std::uint64_t above = 0;  ///< after all rows
};

/// What a histogram shows.
struct Row_Range {
    double low;
    double high;
    bool whole;     ///< rows are at least 1 wide
    double widest;  ///< wider rows would hide something
};

/// About 10 rows over the range, which is finite, or fewer; a few more where they must be narrow.
/// Rows are of equal width unless bins are wider. There must be values.
[[nodiscard]] Histogram_Rows histogram_rows(const Distribution& distribution,
                                            const Row_Range& range);
