#pragma once

#include <string>
#include <string_view>

/// Writes a whole file, or nothing.
/// Throws: std::runtime_error that names the path and the reason.
void write_text_file(const std::string& path, std::string_view text);
