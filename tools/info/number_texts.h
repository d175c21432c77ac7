#pragma once

#include <cstdint>
#include <string>

/// A count, with commas between thousands.
[[nodiscard]] std::string grouped(std::uint64_t number);

/// So many significant digits, or all of a large whole number; without an exponent where that is
/// readable.
[[nodiscard]] std::string digits(double number, int significant = 4);
