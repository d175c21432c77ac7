#pragma once

#include "binning/Bin_Axis.h"
#include "output/Image_Writer.h"
#include "reading/Run_Account.h"
#include "settings/Parameters.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The columns or the rows of an image.
/// Units: detector pixels.
struct Pixel_Steps {
    std::string coordinate;  ///< of events, by which they are selected
    double start;            ///< of the first of them
    double width;
};

/// The bins of an image as really used, after all rounding.
struct Image_Axes {
    Pixel_Steps columns;
    Pixel_Steps rows;
    std::optional<Time_Axis> time_bins;  ///< empty for an image over all time
};

/// All that can be told of a run that has written its image.
struct Run_Report {
    const Parameters& parameters;
    const Run_Account& account;
    const Image_Pages& image;
    const std::vector<std::string>& remarks;
    Image_Axes axes;
    std::uint64_t imageBytes;                ///< of the file
    std::chrono::duration<double> duration;  ///< up to now
};

/// Throws: std::invalid_argument if a settings file cannot hold one of the settings: a report makes
/// the same image again.
void check_settings_can_be_reported(const Parameters& parameters);

/// The report as a JSON text, of which the section "vexolan" is a settings file.
/// Throws: std::bad_alloc.
[[nodiscard]] std::string report_text(const Run_Report& report);
