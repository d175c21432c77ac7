#include "Image_Writer.h"
#include "recordings.h"

#include <gtest/gtest.h>
#include <tiffio.h>

#include <array>
#include <span>

namespace {

/// Writes the image as libtiff does by itself, row by row: the reference for every byte.
void write_by_rows(const std::string& path, const char* mode, std::span<const Counter> cells,
                   std::uint32_t size_y, std::uint32_t size_x, bool pages) {
    TIFF* tiff = TIFFOpen(path.c_str(), mode);
    for (std::size_t first = 0; first < cells.size(); first += std::size_t{size_x} * size_y) {
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, size_x);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, size_y);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 32);
        TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 1);
        TIFFSetField(tiff, TIFFTAG_ORIENTATION, 1);
        TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, 1);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, 1);
        TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, 1);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, 1);
        for (std::uint32_t r = 0; r < size_y; ++r) {
            std::vector<std::uint32_t> row;
            for (std::size_t c = 0; c < size_x; ++c) {
                row.push_back(cells[first + r * size_x + c]);
            }
            TIFFWriteScanline(tiff, row.data(), r, 0);
        }
        if (pages) {
            TIFFWriteDirectory(tiff);
        }
    }
    TIFFClose(tiff);
}

template <std::size_t nDims>
Counting_Image<nDims> pattern(const std::array<std::size_t, nDims>& sizes) {
    Counting_Image<nDims> image(sizes);
    unsigned value = 70'000;
    for (Counter& cell : image.get_content()) {
        cell = value *= 2654435761U;
    }
    return image;
}

class Both_Formats : public testing::TestWithParam<const char*> {};

TEST_P(Both_Formats, files_are_what_libtiff_writes_row_by_row) {
    const Folder folder;
    const std::string ours = folder.path / "ours";
    const std::string theirs = folder.path / "theirs";
    for (const auto& sizes : {std::array<std::size_t, 3>{1, 1, 1},
                              {5, 3, 7},
                              {3, 1, 16384},
                              {2, 300, 1000},
                              {40, 200, 40},
                              {1000, 2, 2}}) {
        const auto [nPages, size_y, size_x] = sizes;
        const Counting_Image<3> sequence = pattern(sizes);
        const auto rows = static_cast<std::uint32_t>(size_y);
        const auto columns = static_cast<std::uint32_t>(size_x);
        write_tiff(ours, GetParam(), sequence);
        write_by_rows(theirs, GetParam(), sequence.get_content(), rows, columns, true);
        EXPECT_TRUE(read_file(ours) == read_file(theirs)) << nPages << size_y << size_x;

        const Counting_Image<2> image = pattern(std::array{size_y, size_x});
        write_tiff(ours, GetParam(), image);
        write_by_rows(theirs, GetParam(), image.get_content(), rows, columns, false);
        EXPECT_TRUE(read_file(ours) == read_file(theirs)) << size_y << size_x;
    }
}

INSTANTIATE_TEST_SUITE_P(Image_Writer, Both_Formats, testing::Values("w4", "w8"));

TEST(Image_Writer, size_of_a_classic_file_is_known_beforehand) {
    const Folder folder;
    const std::string path = folder.path / "image";
    for (const auto& [nPages, size_y, size_x] : {std::array<std::size_t, 3>{1, 1, 1},
                                                 {3, 2, 1},
                                                 {2, 3, 2},
                                                 {2, 3, 16383},
                                                 {2, 2, 16384}}) {
        write_tiff(path, "w4", Counting_Image<3>({nPages, size_y, size_x}));
        EXPECT_EQ(classic_tiff_bytes(nPages, size_y, size_x), std::filesystem::file_size(path));
    }
}

TEST(Image_Writer, warns_only_of_what_classic_tiff_cannot_hold) {
    const auto warning_for = [](const char* format, std::size_t nPages) {
        testing::internal::CaptureStderr();
        warn_if_too_large(format, Counting_Image<3>({nPages, 1024, 1024}));
        return testing::internal::GetCapturedStderr();
    };
    EXPECT_EQ(warning_for("tiff_w4", 1022), "");
    EXPECT_EQ(warning_for("tiff_w8", 1023), "");
    EXPECT_EQ(warning_for("bad", 1023), "");
    const std::string warning = warning_for("tiff_w4", 1023);
    EXPECT_TRUE(warning.starts_with("WARNING: ")) << warning;
    EXPECT_NE(warning.find(std::to_string(classic_tiff_bytes(1023, 1024, 1024))),
              std::string::npos);
}

TEST(Image_Writer, failures_name_the_path) {
    const Counting_Image<2> image({10, 10});
    testing::internal::CaptureStderr();
    EXPECT_EQ(message_of<std::runtime_error>([&] { write_tiff("/no/such", "w4", image); }),
              "output file \"/no/such\" could not be opened (No such file or directory)!");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "/no/such: No such file or directory.\n");
    EXPECT_EQ(message_of<std::runtime_error>([&] { write_tiff("/dev/full", "w8", image); }),
              "output file \"/dev/full\" could not be written (No space left on device)!");
}

}  // namespace
