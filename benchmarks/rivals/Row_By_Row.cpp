#include "Row_By_Row.h"

#include <tiffio.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <vector>

namespace {

void check(int result) {
    if (result != 1) {
        throw std::runtime_error("libtiff failed");
    }
}

void set_tags(TIFF* tiff, std::size_t rows, std::size_t columns) {
    check(TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(columns)));
    check(TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(rows)));
    check(TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 32));
    check(TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1));
    check(TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 1));
    check(TIFFSetField(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT));
    check(TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG));
    check(TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK));
    check(TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT));
    check(TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE));
}

}  // namespace

void write_row_by_row(const std::string& path, const char* mode,
                      std::span<const std::uint32_t> counters, std::size_t pages, std::size_t rows,
                      std::size_t columns) {
    const std::unique_ptr<TIFF, void (*)(TIFF*)> tiff(TIFFOpen(path.c_str(), mode), TIFFClose);
    if (tiff == nullptr) {
        throw std::runtime_error("cannot write " + path);
    }
    for (std::size_t page = 0; page < std::max<std::size_t>(pages, 1); ++page) {
        set_tags(tiff.get(), rows, columns);
        for (std::size_t row = 0; row < rows; ++row) {
            const auto cells = counters.subspan((page * rows + row) * columns, columns);
            std::vector<std::uint32_t> copy(cells.begin(), cells.end());
            check(TIFFWriteScanline(tiff.get(), copy.data(), static_cast<std::uint32_t>(row), 0));
        }
        if (pages != 0) {
            check(TIFFWriteDirectory(tiff.get()));
        }
    }
}
