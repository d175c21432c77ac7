#pragma once

#include "Filters_Events.h"
#include "binning/Binning_Events_Base.h"
#include "output/Image_Writer.h"
#include "reading/add_files.h"
#include "settings/Parameters.h"

#include <cstddef>

/// The filter that these settings ask for.
[[nodiscard]] orven::Photon_Filter event_filter(const Parameters& parameters);

// The steps of a run, in their order.

/// Logs a warning if the output format cannot hold the image, so that nobody waits for a run in
/// vain.
void warn_if_too_large(const Parameters& parameters, const Image_Pages& image);

/// Counts all input files, by parallel tasks where that is wanted and possible: frames are numbered
/// in the order of the files.
/// Throws: as `add_data_filtered_files`.
template <Parameters::ExtTrigger_Mode mode>
void count_input_files(const Parameters& parameters, Binning_Events_Base<mode>& binning) {
    using Filter = orven::Photon_Filter;
    const Filter filter = event_filter(parameters);
    if constexpr (mode != Parameters::frameSync) {
        if (parameters.parallel) {
            binning.template add_data_filtered_files<Filter, true>(parameters.inputFiles, filter);
            return;
        }
    }
    binning.template add_data_filtered_files<Filter, false>(parameters.inputFiles, filter);
}

/// Logs the number of trigger intervals.
void log_trigger_count(const Parameters& parameters, std::size_t nTriggers);

/// Writes the image to the output path, whose folders are made if they are missing.
/// Throws: std::invalid_argument for an unknown format, std::filesystem::filesystem_error, and as
/// `write_tiff`.
void write_image(const Parameters& parameters, const Image_Pages& image);
