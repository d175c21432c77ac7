#pragma once

#include "Event.h"

#include <cstdint>
#include <string>

/// Ticks in seconds, rounded but once: 32,000,000 ticks are 0.05 s, no digit more.
[[nodiscard]] constexpr double seconds(auto ticks) noexcept {
    return static_cast<double>(ticks) / orven::Event_Time::ticks_per_second;
}

/// A count, with commas between thousands.
[[nodiscard]] std::string grouped(std::uint64_t number);

/// A count and what is counted; `things` is the name of several.
[[nodiscard]] std::string number_of(std::uint64_t number, const std::string& thing,
                                    const std::string& things);

/// So many significant digits, or all of a large whole number; without an exponent where that is
/// readable.
[[nodiscard]] std::string digits(double number, int significant = 4);

/// The fewest digits that are read as just this number.
[[nodiscard]] std::string exact(double number);

/// The number of the fewest digits from `low` up to, but not including, `end`, which is above it.
[[nodiscard]] double shortest_between(double low, double end);

/// A time with the unit that leaves one to three digits before the point.
[[nodiscard]] std::string time_text(double seconds, int significant = 3);

/// The same of an amount in any other unit.
[[nodiscard]] std::string amount_text(double amount, const std::string& unit);

/// A part of a whole, in percent.
[[nodiscard]] std::string percent_text(std::uint64_t part, std::uint64_t whole);
