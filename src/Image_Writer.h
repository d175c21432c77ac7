#pragma once

#include <string>

#include "Counting_Image.h"

/// The mode in which libtiff opens a file of this format: "w4" for "tiff_w4" (classic TIFF, below
/// 4 GiB), "w8" for "tiff_w8" (BigTIFF).
/// Throws: std::invalid_argument for any other name.
[[nodiscard]] const char* tiff_open_mode(const std::string& fileFormat);

/// Writes the counts as a TIFF file of 32-bit unsigned grey values, one strip per row: one page
/// for {rows, columns}, one page per first index for {time bins, rows, columns}. Row 0 is the top
/// row.
/// Throws: std::runtime_error naming the path if the file cannot be created, or if any write
/// fails: what is on disk is then not a complete image.
void write_tiff(const std::string& path, const char* openMode, const Counting_Image<2>& image);
void write_tiff(const std::string& path, const char* openMode, const Counting_Image<3>& image);
