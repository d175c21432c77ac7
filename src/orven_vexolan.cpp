#include "Binning_Events.h"
#include "Filters_Events.h"
#include "Image_Writer.h"
#include "Parameters.h"
#include "logging.h"

#include <cassert>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace {

/// Counts all input files, by parallel tasks where that is wanted and possible: frames are numbered
/// in the order of the files.
template <Parameters::ExtTrigger_Mode extTrigger_mode>
void count_input_files(const Parameters& parameters, const orven::Photon_Filter& filter,
                       Binning_Events_Base<extTrigger_mode>& binning) {
    using Filter = orven::Photon_Filter;
    if constexpr (extTrigger_mode != Parameters::frameSync) {
        if (parameters.parallel) {
            binning.template add_data_filtered_files<Filter, true>(parameters.inputFiles, filter);
            return;
        }
    }
    binning.template add_data_filtered_files<Filter, false>(parameters.inputFiles, filter);
}

/// One conversion: counts the events of all input files into one image and writes it.
/// Throws: whatever goes wrong; nothing is written unless all input has been counted.
template <bool timeResolved, Parameters::ExtTrigger_Mode extTrigger_mode>
void run(const Parameters& parameters) {
    assert(timeResolved == parameters.time_res_s.has_value());
    assert(extTrigger_mode == parameters.extTrigger_mode);
    using Binning = std::conditional_t<timeResolved, Binning_Events_TimeResolved<extTrigger_mode>,
                                       Binning_Events_TimeIntegrated<extTrigger_mode>>;
    Binning binning(parameters);
    const orven::Photon_Filter filter({parameters.nPhotons_min, parameters.nPhotons_max},
                                      {parameters.psd_min, parameters.psd_max});
    warn_if_too_large(parameters.fileFormat, binning.image);

    count_input_files<extTrigger_mode>(parameters, filter, binning);

    logging<info>("External Triggers: " + std::to_string(binning.nTriggers) + " for " +
                  parameters.outputFile.value_or("Not Available"));
    const char* const openMode = tiff_open_mode(parameters.fileFormat);
    const std::filesystem::path folder =
        std::filesystem::path(*parameters.outputFile).parent_path();
    if (!folder.empty()) {
        std::filesystem::create_directories(folder);
    }
    write_tiff(*parameters.outputFile, openMode, binning.image);
}

void run_timeResolved(const Parameters& parameters) {
    if (!parameters.time_max_binNumber) {
        throw std::invalid_argument("maximum time needed for time resolved image!");
    }
    if (!parameters.outputFile) {
        throw std::invalid_argument("Output file path needs to be provided!");
    }
    switch (parameters.extTrigger_mode) {
        case Parameters::reference:
            return run<true, Parameters::reference>(parameters);
        case Parameters::frameSync:
            return run<true, Parameters::frameSync>(parameters);
        default:
            return run<true, Parameters::ignore>(parameters);
    }
}

void run_timeIntegrated(const Parameters& parameters) {
    if (!parameters.outputFile) {
        throw std::invalid_argument("Output file path needs to be provided!");
    }
    switch (parameters.extTrigger_mode) {
        case Parameters::reference:
            return run<false, Parameters::reference>(parameters);
        case Parameters::frameSync:
            throw std::invalid_argument("frameSync requires time resolution to be set!");
        default:
            return run<false, Parameters::ignore>(parameters);
    }
}

}  // namespace

/// Exceptions leave main on purpose: the runtime's report of their message is the error message.
int main(int argc, char* argv[]) {  // NOLINT(bugprone-exception-escape)
    const Parameters parameters(argc, argv);
    if (!parameters.exit_requested) {
        if (parameters.time_res_s) {
            run_timeResolved(parameters);
        } else {
            run_timeIntegrated(parameters);
        }
    }
    return 0;
}
