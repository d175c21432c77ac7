#pragma once

#include <cstddef>
#include <string>

/// How many characters of UTF-8 a text has.
[[nodiscard]] std::size_t width_of(const std::string& text);

/// The text with lines of at most so many characters, as far as there are blanks between words.
/// What follows goes below the second column of a line, if it has one. Lines that begin with four
/// blanks are commands, and left as they are.
[[nodiscard]] std::string wrapped(const std::string& text, std::size_t columns);
