#pragma once

#include "Survey.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

/// A square part of the detector.
/// Units: detector pixels.
struct Square {
    std::size_t x;
    std::size_t y;
    std::size_t side;
};

/// The numbers of the first and the last of some counts with anything, without up to `nIgnored` at
/// either end.
[[nodiscard]] std::pair<std::size_t, std::size_t> ends_of(const std::vector<std::uint64_t>& counts,
                                                          std::uint64_t nIgnored);

/// The part that holds all events, wherever they lie, but 0.1 % at most, if it is clearly less than
/// the detector.
[[nodiscard]] std::optional<Square> lit_part(const Survey_Image& image);
