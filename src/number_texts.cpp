#include "number_texts.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <iomanip>
#include <sstream>

namespace {

struct Prefix {
    double factor;
    const char* name;
};

/// The smallest number that is 1 with so many digits.
double rounded_up(int significant) {
    return 1 - std::pow(10, -significant) / 2;
}

/// A number with the prefix of its unit that leaves one to three digits before the point.
template <std::size_t n>
std::string with_prefix(double number, const std::array<Prefix, n>& prefixes, int significant) {
    const Prefix* fits = &prefixes.back();
    for (const Prefix& prefix : prefixes) {
        if (std::fabs(number) >= prefix.factor * rounded_up(significant)) {
            fits = &prefix;
            break;
        }
    }
    return digits(number / fits->factor, significant) + ' ' + fits->name;
}

}  // namespace

std::string grouped(std::uint64_t number) {
    const std::string digits = std::to_string(number);
    std::string text;
    for (std::size_t i = 0; i < digits.size(); ++i) {
        if (i > 0 && (digits.size() - i) % 3 == 0) {
            text += ',';
        }
        text += digits[i];
    }
    return text;
}

std::string number_of(std::uint64_t number, const std::string& thing, const std::string& things) {
    return grouped(number) + " " + (number == 1 ? thing : things);
}

std::string digits(double number, int significant) {
    constexpr double readable = 1e15;
    const double size = std::fabs(number);
    const double whole = std::max(1000.0, std::pow(10, significant - 1));
    if (size >= whole * rounded_up(significant) && size < readable) {
        return std::string(number < 0 ? 1 : 0, '-') +
               grouped(static_cast<std::uint64_t>(std::round(size)));
    }
    std::ostringstream text;
    text << std::setprecision(significant) << number;
    return text.str();
}

std::string exact(double number) {
    std::array<char, 64> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), number);
    return {text.data(), end.ptr};
}

double shortest_between(double low, double end) {
    const auto power = static_cast<int>(std::floor(std::log10(end - low))) + 1;
    for (int digit = power;; --digit) {
        // A quotient is rounded but once: 2 / 5.0 is 0.4, no digit more.
        const double ten = std::pow(10, std::abs(digit));
        const double steps = std::ceil(digit < 0 ? low * ten : low / ten);
        const double number = digit < 0 ? steps / ten : steps * ten;
        if (number >= low && number < end) {
            return number;
        }
        if (digit < power - 3) {
            return low;
        }
    }
}

std::string time_text(double seconds, int significant) {
    constexpr std::array<Prefix, 4> prefixes{{{1, "s"}, {1e-3, "ms"}, {1e-6, "µs"}, {1e-9, "ns"}}};
    return seconds == 0 ? "0 s" : with_prefix(seconds, prefixes, significant);
}

std::string amount_text(double amount, const std::string& unit) {
    constexpr std::array<Prefix, 6> prefixes{
        {{1e15, "P"}, {1e12, "T"}, {1e9, "G"}, {1e6, "M"}, {1e3, "k"}, {1, ""}}};
    return with_prefix(amount, prefixes, 3) + unit;
}

std::string percent_text(std::uint64_t part, std::uint64_t whole) {
    constexpr double all = 100;
    constexpr double least = 0.001;
    constexpr double most = 99.99;
    const double percent = all * static_cast<double>(part) / static_cast<double>(whole);
    if (part > 0 && percent < least) {
        return "less than " + digits(least) + " %";
    }
    if (part < whole && percent > most) {
        return "more than " + digits(most) + " %";
    }
    const bool is_nearly_all = part < whole && percent > all - 1;
    return digits(percent, is_nearly_all ? 4 : percent > all / 2 ? 3 : 2) + " %";
}
