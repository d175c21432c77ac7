#include "escaped.h"

#include <array>
#include <cstdio>

std::string escaped(const std::string& text) {
    constexpr unsigned char first_printable = 0x20;
    constexpr unsigned char deletion = 0x7F;
    std::string shown;
    for (const char c : text) {
        const auto code = static_cast<unsigned char>(c);
        if (code >= first_printable && code != deletion) {
            shown += c;
            continue;
        }
        std::array<char, 5> digits{};
        std::snprintf(digits.data(), digits.size(), "\\x%02x", code);
        shown += digits.data();
    }
    return shown;
}

std::string quoted(const std::string& path) {
    return '"' + escaped(path) + '"';
}
