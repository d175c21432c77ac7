#pragma once

#include "counting/Counting_Image.h"
#include "progress/Progress_Count.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

/// The pages of a counting image: its cells, page after page and row after row.
struct Image_Pages {
    std::span<const Counter> cells;
    std::size_t nPages;
    std::size_t rows;
    std::size_t columns;
};

/// The pages of an image, one without time bins; the image must outlive them.
[[nodiscard]] Image_Pages pages_of(const Counting_Image<2>& image) noexcept;
[[nodiscard]] Image_Pages pages_of(const Counting_Image<3>& image) noexcept;

/// The mode in which libtiff opens a file of this format: "w4" for "tiff_w4" (classic TIFF, below
/// 4 GiB), "w8" for "tiff_w8" (BigTIFF).
/// Throws: std::invalid_argument for any other name.
[[nodiscard]] const char* tiff_open_mode(const std::string& fileFormat);

/// The size in bytes of the file that `write_tiff` writes of such an image: a classic TIFF file, or
/// with `big` a BigTIFF one.
[[nodiscard]] std::uint64_t tiff_bytes(const Image_Pages& image, bool big) noexcept;

/// What becomes of the lines that libtiff writes to standard error when something fails.
enum class Tiff_Messages { show, drop };

/// Writes the counts as a TIFF file of 32-bit unsigned grey values, one strip per row. Row 0 is the
/// top row. Returns the number of bytes written; pages are counted as they are written.
/// Throws: std::runtime_error naming the path if the file cannot be created or take its place, or
/// if any write fails; Cancelled. There is no new image then, unless the message says where it is
/// complete.
std::uint64_t write_tiff(const std::string& path, const char* openMode, const Image_Pages& image,
                         Progress_Count& nWritten, Tiff_Messages messages = Tiff_Messages::show);
