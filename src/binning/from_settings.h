#pragma once

#include "Filters_Events.h"
#include "binning/Image_Geometry.h"
#include "binning/Placement.h"
#include "settings/Image_Settings.h"

// What settings ask for.

/// The pages of the image.
/// Throws: std::bad_optional_access for time bins without a number.
[[nodiscard]] Page_Sizes page_sizes(const Image_Settings& settings);

/// When these pages are counted.
/// Throws: std::bad_optional_access without a length of time bins.
[[nodiscard]] Page_Times page_times(const Image_Settings& settings);

/// Where events belong.
/// Throws: as the placements, and as above.
[[nodiscard]] Placement placement_of(const Image_Settings& settings);

/// Which events are counted.
[[nodiscard]] orven::Photon_Filter event_filter(const Image_Settings& settings);
