#pragma once

#include "Counting_Image.h"

#include <cstdint>
#include <string>

/// The mode in which libtiff opens a file of this format: "w4" for "tiff_w4" (classic TIFF, below
/// 4 GiB), "w8" for "tiff_w8" (BigTIFF).
/// Throws: std::invalid_argument for any other name.
[[nodiscard]] const char* tiff_open_mode(const std::string& fileFormat);

/// The size in bytes of a classic TIFF file of such an image, as `write_tiff` writes it.
[[nodiscard]] std::uint64_t classic_tiff_bytes(std::uint64_t nPages, std::uint64_t size_y,
                                               std::uint64_t size_x) noexcept;

/// Logs a warning if the format cannot hold the image, so that nobody waits for a run in vain.
void warn_if_too_large(const std::string& fileFormat, const Counting_Image<2>& image);
void warn_if_too_large(const std::string& fileFormat, const Counting_Image<3>& image);

/// Writes the counts as a TIFF file of 32-bit unsigned grey values, one strip per row: one page
/// for {rows, columns}, one page per first index for {time bins, rows, columns}. Row 0 is the top
/// row.
/// Throws: std::runtime_error naming the path if the file cannot be created, or if any write
/// fails: what is on disk is then not a complete image.
void write_tiff(const std::string& path, const char* openMode, const Counting_Image<2>& image);
void write_tiff(const std::string& path, const char* openMode, const Counting_Image<3>& image);
