#pragma once

#include "Distribution.h"
#include "valley.h"

#include <optional>
#include <string>
#include <vector>

/// A histogram over nearly all values, with a row for those on either side: lines of at most 38
/// characters. Rows are narrow enough to show the valley. None for values that cannot be shown.
[[nodiscard]] std::vector<std::string> histogram_text(const std::string& title,
                                                      const Distribution& distribution,
                                                      const std::optional<Valley>& valley,
                                                      bool whole);

/// Two texts of lines beside each other.
[[nodiscard]] std::string side_by_side(const std::vector<std::string>& left,
                                       const std::vector<std::string>& right);
