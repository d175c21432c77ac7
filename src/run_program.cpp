#include "run_program.h"

#include "binning/Binning_Events.h"
#include "logging.h"
#include "output/Image_Writer.h"
#include "remarks/Remarks.h"
#include "remarks/remark_on_counts.h"
#include "remarks/remark_on_settings.h"
#include "run_steps.h"
#include "settings/Parameters.h"
#include "signals.h"

#include <cassert>
#include <chrono>
#include <stdexcept>
#include <type_traits>

namespace {

/// One conversion: counts the events of all input files into one image and writes it.
/// Throws: whatever goes wrong; nothing is written unless all input has been counted.
template <bool timeResolved, Parameters::ExtTrigger_Mode extTrigger_mode>
void run(const Parameters& parameters, const Count_Files& count) {
    assert(timeResolved == parameters.time_res_s.has_value());
    assert(extTrigger_mode == parameters.extTrigger_mode);
    using Binning = std::conditional_t<timeResolved, Binning_Events_TimeResolved<extTrigger_mode>,
                                       Binning_Events_TimeIntegrated<extTrigger_mode>>;
    const auto started = std::chrono::steady_clock::now();
    check_settings(parameters);
    Binning binning(parameters);
    const Image_Pages image = pages_of(binning.get_image());
    warn_of_outputs(parameters, image);
    Remarks remarks(parameters.strict);
    remark_on_settings(parameters, remarks);
    count_input_files(parameters, binning, count);
    log_trigger_count(parameters, binning.get_nTriggers());
    remark_on_counts(parameters, binning.get_account(), remarks);
    write_outputs(parameters, image, binning.get_account(), remarks, started);
}

void run_timeResolved(const Parameters& parameters, const Count_Files& count) {
    if (!parameters.time_max_binNumber) {
        throw std::invalid_argument("maximum time needed for time resolved image!");
    }
    if (!parameters.outputFile) {
        throw std::invalid_argument("Output file path needs to be provided!");
    }
    switch (parameters.extTrigger_mode) {
        case Parameters::reference:
            return run<true, Parameters::reference>(parameters, count);
        case Parameters::frameSync:
            return run<true, Parameters::frameSync>(parameters, count);
        default:
            return run<true, Parameters::ignore>(parameters, count);
    }
}

void run_timeIntegrated(const Parameters& parameters, const Count_Files& count) {
    if (parameters.time_max_binNumber) {
        hint("-T sets the number of time bins, and -t how many seconds each is long: give both.");
    }
    if (!parameters.outputFile) {
        throw std::invalid_argument("Output file path needs to be provided!");
    }
    switch (parameters.extTrigger_mode) {
        case Parameters::reference:
            return run<false, Parameters::reference>(parameters, count);
        case Parameters::frameSync:
            throw std::invalid_argument("frameSync requires time resolution to be set!");
        default:
            return run<false, Parameters::ignore>(parameters, count);
    }
}

constexpr const char* first_commands =
    "To begin with:\n"
    "  vexolan-info FOLDER                what is in a recording, and which images suit it\n"
    "  vexolan -I FOLDER -o image.tif     an image of all its events\n"
    "  vexolan --help                     all options";

void run(int argc, char* argv[], const Count_Files& count) {
    const Parameters parameters(argc, argv);
    if (parameters.exit_requested) {
        return;
    }
    if (argc == 1) {
        hint(first_commands);
    }
    if (parameters.time_res_s) {
        run_timeResolved(parameters, count);
    } else {
        run_timeIntegrated(parameters, count);
    }
}

}  // namespace

void run_program(int argc, char* argv[], const Count_Files& count) {
    clean_up_at_signals();
    make_failed_writes_errors();
    try {
        run(argc, argv, count);
    } catch (...) {
        finish_logging();  // what is shown on the terminal has been removed by now
        throw;
    }
    finish_logging();
}
