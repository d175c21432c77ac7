#pragma once

#include <cstddef>
#include <string>

/// How many characters a text in UTF-8 has.
[[nodiscard]] std::size_t width_of(const std::string& text) noexcept;

/// A text in lines of at most `width` characters, each ending in a newline, broken at blanks where
/// that is possible. All but the first begin with `indent` blanks. Range: `indent` < `width`.
[[nodiscard]] std::string wrapped(const std::string& text, std::size_t width, std::size_t indent);
