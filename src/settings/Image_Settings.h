#pragma once

#include <array>
#include <cstdint>
#include <optional>

/// What is to be counted, and in which image: a plain record that the command line fills, as do
/// programs that count without one.
struct Image_Settings {
    /// How external trigger times are used: not at all, as the zero of event times, or as the
    /// starts of frames.
    enum ExtTrigger_Mode : std::uint32_t { ignore = 0, reference = 1, frameSync = 2 };

    std::uint64_t size_x = 512;               ///< image width in pixels
    std::uint64_t size_y = 512;               ///< image height in pixels
    std::uint64_t nPhotons_min = 0;           ///< smallest photon count that is counted
    std::uint64_t nPhotons_max = UINT64_MAX;  ///< largest photon count that is counted
    ExtTrigger_Mode extTrigger_mode = ignore;
    std::optional<double> time_res_s;                ///< time bin in seconds; set: 3-D image
    std::optional<std::int64_t> time_max_binNumber;  ///< number of time bins of the 3-D image
    std::optional<double> psd_min;
    std::optional<double> psd_max;
    bool upright = false;  ///< pages have the rows and columns of the 2-D image
    std::optional<std::array<double, 4>> region;  ///< x0, y0, x1, y1 of what is shown, in pixels
    std::optional<double> timeStart;              ///< where bin 0 starts, in seconds
};
