#include "remarks/remark_on_settings.h"

#include "escaped.h"

#include <cmath>
#include <optional>
#include <string>
#include <utility>

namespace {

void remark_on_inputs(const Parameters& parameters, Remarks& remarks) {
    if (parameters.emptyFolder) {
        remarks.doubt(*parameters.emptyFolder);
    } else if (parameters.inputFiles.empty()) {
        remarks.doubt(
            "there are no files to read, so the image will be all zeros: name files by -i, or "
            "their folder by -I");
    }
    if (parameters.unsortedFolder && parameters.extTrigger_mode == Parameters::frameSync) {
        remarks.doubt("the files of " + quoted(*parameters.unsortedFolder) +
                      " are not listed in the order of their names, and neither are their frames. "
                      "printf '%s\\n' FOLDER/*.orvenevent | sort -V > list.txt lists them so, for "
                      "--inputListFile list.txt");
    }
}

}  // namespace

bool accepts_no_photons(const Parameters& parameters) noexcept {
    return parameters.nPhotons_min > parameters.nPhotons_max;
}

bool accepts_no_psd(const Parameters& parameters) noexcept {
    const auto is_nan = [](const std::optional<double>& bound) {
        return bound && std::isnan(*bound);
    };
    const auto& [low, high] = std::pair(parameters.psd_min, parameters.psd_max);
    return is_nan(low) || is_nan(high) || (low && high && *low > *high);
}

void remark_on_settings(const Parameters& parameters, Remarks& remarks) {
    for (const std::string& doubt : parameters.doubts) {
        remarks.doubt(doubt);
    }
    remark_on_inputs(parameters, remarks);
    if (accepts_no_photons(parameters)) {
        remarks.doubt("no event has at least " + std::to_string(parameters.nPhotons_min) +
                      " and at most " + std::to_string(parameters.nPhotons_max) +
                      " photons: -m is the smallest count, -M the largest");
    }
    if (accepts_no_psd(parameters)) {
        remarks.doubt("no event has such a PSD value: -p is the smallest, -P the largest");
    }
}
