#include "remarks/remark_on_settings.h"

#include "escaped.h"

#include <string>

namespace {

void remark_on_inputs(const Parameters& parameters, Remarks& remarks) {
    if (parameters.inputFiles.empty()) {
        remarks.doubt(
            "there are no files to read, so the image will be all zeros: name files by -i, or "
            "their folder by -I");
    }
    if (parameters.unsortedFolder && parameters.extTrigger_mode == Parameters::frameSync) {
        const std::string folder = *parameters.unsortedFolder;
        remarks.doubt("the files of " + quoted(folder) +
                      " come in no certain order, and so do their frames: list them in order by "
                      "ls " +
                      quoted(folder) +
                      "/*.orvenevent > list.txt, and give that by "
                      "--inputListFile list.txt");
    }
}

void remark_on_bounds(const Parameters& parameters, Remarks& remarks) {
    if (parameters.nPhotons_min > parameters.nPhotons_max) {
        remarks.doubt("no event has at least " + std::to_string(parameters.nPhotons_min) +
                      " and at most " + std::to_string(parameters.nPhotons_max) +
                      " photons: -m is the smallest count, -M the largest");
    }
    const auto& [low, high] = std::pair(parameters.psd_min, parameters.psd_max);
    const bool none =
        (low && *low != *low) || (high && *high != *high) || (low && high && *low > *high);
    if (none) {
        remarks.doubt("no event has such a PSD value: -p is the smallest, -P the largest");
    }
}

}  // namespace

void remark_on_settings(const Parameters& parameters, Remarks& remarks) {
    for (const std::string& doubt : parameters.doubts) {
        remarks.doubt(doubt);
    }
    remark_on_inputs(parameters, remarks);
    remark_on_bounds(parameters, remarks);
}
