#include "output/Image_Writer.h"
#include "recordings.h"
#include "run_steps.h"

#include <gtest/gtest.h>
#include <tiffio.h>

#include <array>
#include <chrono>
#include <ctime>

namespace {

using Sizes = std::array<std::size_t, 3>;

/// Writes the image as libtiff does by itself, row by row: the reference for every byte.
void write_by_rows(const std::string& path, const char* mode, const Counting_Image<3>& image) {
    const auto [nPages, rows, columns] = image.get_sizes();
    TIFF* tiff = TIFFOpen(path.c_str(), mode);
    for (std::size_t t = 0; t < nPages; ++t) {
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(columns));
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(rows));
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 32);
        TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 1);
        TIFFSetField(tiff, TIFFTAG_ORIENTATION, 1);
        TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, 1);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, 1);
        TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, 1);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, 1);
        for (std::uint32_t r = 0; r < rows; ++r) {
            std::vector<std::uint32_t> row;
            for (std::size_t c = 0; c < columns; ++c) {
                row.push_back(image.at({t, r, c}));
            }
            TIFFWriteScanline(tiff, row.data(), r, 0);
        }
        if (nPages > 1) {
            TIFFWriteDirectory(tiff);
        }
    }
    TIFFClose(tiff);
}

TEST(Image_Writer, files_are_what_libtiff_writes_row_by_row) {
    const Folder folder;
    const std::string ours = folder.path / "ours";
    const std::string theirs = folder.path / "theirs";
    for (const Sizes& sizes :
         {Sizes{1, 1, 1}, {5, 3, 7}, {3, 1, 16384}, {2, 300, 1000}, {40, 200, 40}, {1000, 2, 2}}) {
        Counting_Image<3> image(sizes);
        unsigned value = 70'000;
        for (Counter& cell : image.get_content()) {
            cell = value *= 2654435761U;
        }
        for (const char* mode : {"w4", "w8"}) {
            Progress_Count nWritten;
            write_tiff(ours, mode, pages_of(image), nWritten);
            write_by_rows(theirs, mode, image);
            EXPECT_TRUE(read_file(ours) == read_file(theirs)) << testing::PrintToString(sizes);
        }
    }
}

TEST(Image_Writer, size_of_a_file_is_known_beforehand_and_told_afterwards) {
    const Folder folder;
    const std::string path = folder.path / "image";
    for (const Sizes& sizes : {Sizes{0, 1, 1},
                               {1, 1, 1},
                               {3, 2, 1},
                               {2, 3, 2},
                               {2, 4, 3},
                               {2, 5, 3},
                               {2, 3, 16383},
                               {2, 2, 16384}}) {
        const Counting_Image<3> image(sizes);
        for (const bool big : {false, true}) {
            Progress_Count nWritten;
            const std::uint64_t told =
                write_tiff(path, big ? "w8" : "w4", pages_of(image), nWritten);
            EXPECT_EQ(told, std::filesystem::file_size(path));
            EXPECT_EQ(told, tiff_bytes(pages_of(image), big)) << testing::PrintToString(sizes);
        }
    }
}

TEST(Image_Writer, warns_of_an_image_that_classic_tiff_cannot_hold) {
    const auto warning_for = [](const char* format, std::size_t rows, std::size_t columns) {
        testing::internal::CaptureStderr();
        warn_of_outputs(parameters_from({"-o", "/dev/null", "--fileFormat", format}),
                        {{}, 1000, rows, columns});
        return testing::internal::GetCapturedStderr();
    };
    // A long column needs more strips, and so more bytes, than a long row.
    EXPECT_EQ(warning_for("tiff_w4", 2, 536'000), "");
    EXPECT_EQ(warning_for("tiff_w8", 536'000, 2), "");
    EXPECT_EQ(warning_for("bad", 536'000, 2), "");
    const std::string warning = warning_for("tiff_w4", 536'000, 2);
    EXPECT_TRUE(warning.starts_with("WARNING: ")) << warning;
    const std::uint64_t bytes = tiff_bytes({{}, 1000, 536'000, 2}, false);
    EXPECT_NE(warning.find(std::to_string(bytes)), std::string::npos);
}

TEST(write_outputs, long_and_bright_runs_are_told_of) {
    const Folder folder;
    const auto in_folder = [&](const char* name) { return (folder.path / name).string(); };
    const Parameters parameters =
        parameters_from({"-o", in_folder("image"), "--report", in_folder("report"), "--spectra",
                         in_folder("spectra"), "-t", "1", "-T", "1"});
    Counting_Image<3> image({1, 1, 2});
    for (Counter& cell : image.get_content()) {
        cell = 4'000'000'000;
    }
    const std::chrono::hours duration(1000);
    write_outputs(parameters, pages_of(image), {}, Remarks(false),
                  std::chrono::steady_clock::now() - duration);
    EXPECT_EQ(read_file(in_folder("spectra")), "0.0000000000000\t8000000000\n");

    const std::time_t latest =
        std::chrono::system_clock::to_time_t(std::chrono::system_clock::now() - duration);
    std::array<char, 32> stamp{};
    std::strftime(stamp.data(), stamp.size(), "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&latest));
    const std::string report = read_file(in_folder("report"));
    const std::string key = R"("started": ")";
    const std::string started = report.substr(report.find(key) + key.size(), 20);
    EXPECT_TRUE(started.starts_with("20") && started <= stamp.data()) << started;
}

}  // namespace
