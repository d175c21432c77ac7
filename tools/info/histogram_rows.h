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

/// About 20 rows from `low` to `high`, which are finite, or fewer; of `whole` numbers at least 1
/// wide. Rows are of equal width unless bins are wider. There must be values.
[[nodiscard]] Histogram_Rows histogram_rows(const Distribution& distribution, double low,
                                            double high, bool whole);
