#pragma once

#include "logging.h"
#include "recordings.h"

#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

/// All that these arguments lead to, as one text: they are accepted, or refused with one of the
/// documented exceptions.
inline std::string outcome(const std::vector<std::string>& arguments) {
    logLevel = 4;
    std::ostringstream result;
    try {
        const Parameters p = parameters_from(arguments);
        result << p.exit_requested << ' ' << p.outputFile.value_or("none") << ' ' << p.size_x << ' '
               << p.size_y << ' ' << p.nPhotons_min << ' ' << p.nPhotons_max << ' '
               << p.extTrigger_mode << ' ' << p.time_res_s.value_or(-1) << ' '
               << p.time_max_binNumber.value_or(-1) << ' ' << p.psd_min.value_or(-1) << ' '
               << p.psd_max.value_or(-1) << ' ' << p.fileFormat << ' ' << p.parallel;
        for (const std::string& file : p.inputFiles) {
            result << '\n' << file;
        }
    } catch (const std::invalid_argument& exception) {
        result << exception.what();
    } catch (const std::out_of_range& exception) {
        result << exception.what();
    } catch (const std::filesystem::filesystem_error& exception) {
        result << exception.what();
    }
    return result.str();
}
