#include "output/Image_Writer.h"

#include "escaped.h"
#include "output/Output_File.h"

#include <tiffio.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <span>
#include <stdexcept>
#include <vector>

namespace {

Output_File& as_file(thandle_t handle) {
    return *static_cast<Output_File*>(handle);
}

tmsize_t read_file(thandle_t handle, void* bytes, tmsize_t count) {
    return as_file(handle).read(bytes, static_cast<std::size_t>(count)) ? count : -1;
}

tmsize_t write_file(thandle_t handle, void* bytes, tmsize_t count) {
    return as_file(handle).write(bytes, static_cast<std::size_t>(count)) ? count : -1;
}

toff_t seek_file(thandle_t handle, toff_t offset, int whence) {
    Output_File& file = as_file(handle);
    const std::uint64_t origin = whence == SEEK_SET   ? 0
                                 : whence == SEEK_CUR ? file.tell()
                                                      : file.size();
    file.seek(origin + offset);
    return file.tell();
}

/// The file is closed by its owner, who alone knows whether it is complete.
int leave_open(thandle_t /*handle*/) {
    return 0;
}

toff_t file_size(thandle_t handle) {
    return as_file(handle).size();
}

using Open_Options = std::unique_ptr<TIFFOpenOptions, void (*)(TIFFOpenOptions*)>;

/// Takes a message, so that libtiff writes it nowhere.
int drop_message(TIFF* /*file*/, void* /*user*/, const char* /*module*/, const char* /*format*/,
                 va_list /*values*/) {
    return 1;
}

Open_Options open_options(Tiff_Messages messages) {
    Open_Options options(TIFFOpenOptionsAlloc(), TIFFOpenOptionsFree);
    if (messages == Tiff_Messages::drop && options != nullptr) {
        TIFFOpenOptionsSetErrorHandlerExtR(options.get(), drop_message, nullptr);
        TIFFOpenOptionsSetWarningHandlerExtR(options.get(), drop_message, nullptr);
    }
    return options;
}

/// A TIFF file being written. Every call to libtiff is checked; the first failure throws.
class Tiff_File {
public:
    Tiff_File(const std::string& path_, const char* openMode, Tiff_Messages messages)
        : path(path_), file(path_) {
        if (file.error() != 0) {
            if (messages == Tiff_Messages::show) {
                TIFFError(path.c_str(), "%s", file.reason().c_str());
            }
            fail("could not be opened");
        }
        const Open_Options options = open_options(messages);
        tiff.reset(TIFFClientOpenExt(path.c_str(), openMode, &file, read_file, write_file,
                                     seek_file, leave_open, file_size, nullptr, nullptr,
                                     options.get()));
        check(tiff != nullptr);
    }

    /// Starts a page of this many columns and rows.
    void set_tags(std::size_t size_x, std::size_t size_y) {
        set(TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(size_x));
        set(TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(size_y));
        set(TIFFTAG_BITSPERSAMPLE, 32);
        set(TIFFTAG_SAMPLESPERPIXEL, 1);
        set(TIFFTAG_ROWSPERSTRIP, 1);
        set(TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
        set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        set(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        set(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
        set(TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    }

    /// Writes the rows of the page, top row first, each as a strip of its own. Uncompressed strips
    /// need nothing of libtiff's encoding.
    void write_rows(std::span<const Counter> page, std::size_t size_x,
                    const Progress_Count& wanted) {
        row.resize(size_x);
        const auto bytes = static_cast<tmsize_t>(size_x * sizeof(std::uint32_t));
        const auto size_y = static_cast<std::uint32_t>(page.size() / size_x);
        for (std::uint32_t r = 0; r < size_y; ++r) {
            wanted.check();
            // Counting is over: the cells are plain numbers, copied as such.
            std::memcpy(row.data(), &page[r * size_x], size_x * sizeof(Counter));
            check(TIFFWriteRawStrip(tiff.get(), r, row.data(), bytes) == bytes);
        }
    }

    void finish_page() { check(TIFFWriteDirectory(tiff.get()) == 1); }

    /// Returns the number of bytes written.
    std::uint64_t close() {
        // TIFFClose reports nothing: what is still to write is written before it.
        check(TIFFFlush(tiff.get()) == 1);
        tiff.reset();
        check(file.close());
        return file.size();
    }

private:
    template <class Value>
    void set(std::uint32_t tag, Value value) {
        check(TIFFSetField(tiff.get(), tag, value) == 1);
    }

    void check(bool succeeded) {
        if (!succeeded) {
            fail("could not be written");
        }
    }

    [[noreturn]] void fail(const std::string& what) {
        const std::string reason = file.error() == 0 ? "" : " (" + file.reason() + ")";
        tiff.reset();
        throw std::runtime_error("output file " + quoted(path) + ' ' + what + reason + "!");
    }

    std::string path;
    Output_File file;
    std::unique_ptr<TIFF, void (*)(TIFF*)> tiff{nullptr, TIFFClose};
    std::vector<std::uint32_t> row;
};

}  // namespace

Image_Pages pages_of(const Counting_Image<2>& image) noexcept {
    const auto [rows, columns] = image.get_sizes();
    return {image.get_content(), 1, rows, columns};
}

Image_Pages pages_of(const Counting_Image<3>& image) noexcept {
    const auto [nPages, rows, columns] = image.get_sizes();
    return {image.get_content(), nPages, rows, columns};
}

const char* tiff_open_mode(const std::string& fileFormat) {
    if (fileFormat == "tiff_w4") {
        return "w4";
    }
    if (fileFormat == "tiff_w8") {
        return "w8";
    }
    throw std::invalid_argument("Invalid file format: " + fileFormat);
}

std::uint64_t tiff_bytes(const Image_Pages& image, bool big) noexcept {
    constexpr std::uint64_t nTags = 12;  // ten tags and the two strip tables
    const std::uint64_t header = big ? 16 : 8;
    const std::uint64_t directory = big ? 8 + 20 * nTags + 8 : 2 + 12 * nTags + 4;
    const std::uint64_t in_directory = big ? 8 : 4;  // a table so small stands there itself
    const std::uint64_t row = image.columns * sizeof(std::uint32_t);
    const auto table = [&](std::uint64_t entry) {
        return image.rows * entry > in_directory ? image.rows * entry : 0;
    };
    // Byte counts are as short as they can be.
    const std::uint64_t tables = table(big ? 8 : 4) + table(row <= 0xFFFF ? 2 : 4);
    return header + image.nPages * (image.rows * row + directory + tables);
}

std::uint64_t write_tiff(const std::string& path, const char* openMode, const Image_Pages& image,
                         Progress_Count& nWritten, Tiff_Messages messages) {
    const std::size_t page_size = image.rows * image.columns;
    Tiff_File tiff(path, openMode, messages);
    for (std::size_t t = 0; t < image.nPages; ++t) {
        tiff.set_tags(image.columns, image.rows);
        tiff.write_rows(image.cells.subspan(t * page_size, page_size), image.columns, nWritten);
        tiff.finish_page();
        nWritten.add(1);
    }
    return tiff.close();
}
