#pragma once

#include "binning/Binning_Events_Base.h"
#include "binning/from_settings.h"
#include "output/Image_Writer.h"
#include "output/Run_Report.h"
#include "progress/Progress_Line.h"
#include "reading/add_data_filtered_files.h"
#include "reading/count_files.h"
#include "remarks/Remarks.h"
#include "settings/Parameters.h"

#include <chrono>
#include <cstddef>

// The steps of a run, in their order.

/// Refuses, before anything is read or written, outputs that would destroy what this run reads or
/// any recording, outputs that these settings cannot give, and with strict settings inputs that
/// were ignored. Throws: std::invalid_argument, std::runtime_error.
void check_settings(const Parameters& parameters);

/// Logs a warning for each reason that is known beforehand why the run cannot end well, so that
/// nobody waits for it in vain.
/// Throws: with strict settings, std::runtime_error with the first of them instead.
void warn_of_outputs(const Parameters& parameters, const Image_Pages& image);

/// Counts all input files by `count`, by parallel tasks where that is wanted.
/// Throws: as `add_data_filtered_files`.
template <Parameters::ExtTrigger_Mode mode>
void count_input_files(const Parameters& parameters, Binning_Events_Base<mode>& binning,
                       const Count_Files& count) {
    using Filter = orven::Photon_Filter;
    const Filter filter = event_filter(parameters);
    const Progress_Line line(reading_progress(parameters.inputFiles, binning.get_nRead()));
    if (parameters.parallel) {
        binning.template add_data_filtered_files<Filter, true>(parameters.inputFiles, filter,
                                                               count);
    } else {
        binning.template add_data_filtered_files<Filter, false>(parameters.inputFiles, filter,
                                                                count);
    }
}

/// Logs the number of trigger intervals.
void log_trigger_count(const Parameters& parameters, std::size_t nTriggers);

/// Writes the image, and beside it what else the settings ask for, and tells a person what has been
/// done. Folders are made if they are missing.
/// Throws: std::invalid_argument for an unknown format, std::filesystem::filesystem_error, and as
/// `write_tiff`, `write_spectra` and `write_text_file`.
void write_outputs(const Parameters& parameters, const Image_Pages& image,
                   const Run_Account& account, const Remarks& remarks,
                   std::chrono::steady_clock::time_point started);
