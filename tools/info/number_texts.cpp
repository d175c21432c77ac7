#include "number_texts.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iomanip>
#include <sstream>

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

std::string digits(double number, int significant) {
    constexpr double readable = 1e15;
    const double size = std::round(std::fabs(number));
    if (size >= std::max(1000.0, std::pow(10, significant - 1)) && size < readable) {
        return std::string(number < 0 ? 1 : 0, '-') + grouped(static_cast<std::uint64_t>(size));
    }
    std::ostringstream text;
    text << std::setprecision(significant) << number;
    return text.str();
}
