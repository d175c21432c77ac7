#pragma once

#include <string>

/// A text with its control characters written as \\xNN, so that a terminal shows them and obeys
/// none. Throws: std::bad_alloc.
[[nodiscard]] std::string escaped(const std::string& text);

/// A path in quotation marks, escaped. Throws: std::bad_alloc.
[[nodiscard]] std::string quoted(const std::string& path);
