#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

/// Writes the counters as a TIFF file the plain way: libtiff's own file access and one call per
/// row. `pages` of 0 makes one page that is left to the close, as the tool does.
/// Throws: std::runtime_error if libtiff reports a failure.
void write_row_by_row(const std::string& path, const char* mode,
                      std::span<const std::uint32_t> counters, std::size_t pages, std::size_t rows,
                      std::size_t columns);
