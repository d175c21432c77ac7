#include "wrapped.h"

#include <algorithm>
#include <sstream>

namespace {

constexpr std::size_t indent = 2;

std::size_t start_of(const std::string& line) {
    return std::min(line.find_first_not_of(' '), line.size());
}

/// Where the lines that go on with a line begin.
std::size_t indent_after(const std::string& line) {
    const std::size_t start = start_of(line);
    const std::size_t gap = line.find("  ", start);
    if (gap != std::string::npos) {
        return line.find_first_not_of(' ', gap);
    }
    return start > indent ? start : 2 * indent;
}

std::string wrapped_line(const std::string& line, std::size_t columns) {
    const std::string next_line = '\n' + std::string(indent_after(line), ' ');
    const std::size_t start = start_of(line);
    std::string text = line.substr(0, start);
    std::size_t width = start;
    std::istringstream words(line.substr(start));
    for (std::string word; std::getline(words, word, ' ');) {
        const std::size_t blanks = text.size() == start ? 0 : 1;
        if (width + blanks + width_of(word) > columns) {
            text += next_line + word;
            width = next_line.size() - 1 + width_of(word);
        } else {
            text += std::string(blanks, ' ') + word;
            width += blanks + width_of(word);
        }
    }
    return text;
}

}  // namespace

std::size_t width_of(const std::string& text) {
    return static_cast<std::size_t>(std::ranges::count_if(
        text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

std::string wrapped(const std::string& text, std::size_t columns) {
    std::string found;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const bool stays =
            width_of(line) <= columns || start_of(line) == 0 || start_of(line) == 2 * indent;
        found += (stays ? line : wrapped_line(line, columns)) + '\n';
    }
    return found;
}
