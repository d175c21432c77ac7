#pragma once

#include "binning/Bin_Axis.h"
#include "output/Image_Writer.h"

#include <string>

/// Writes what readers of image stacks look for beside them: a line for each page with the start of
/// its time bin in seconds, exact to the tick, a tab and the counts of the page.
/// Throws: as `write_text_file`.
void write_spectra(const std::string& path, const Image_Pages& image, const Time_Axis& time_bins);
