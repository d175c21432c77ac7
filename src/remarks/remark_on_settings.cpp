#include "remarks/remark_on_settings.h"

#include "escaped.h"

#include <limits>
#include <string>

namespace {

void remark_on_inputs(const Parameters& parameters, Remarks& remarks) {
    if (parameters.inputFiles.empty()) {
        remarks.doubt(
            "there are no files to read, so the image will be all zeros: name files by -i, or "
            "their folder by -I");
    }
    if (parameters.unsortedFolder && parameters.extTrigger_mode == Parameters::frameSync) {
        const std::string folder = quoted(*parameters.unsortedFolder);
        remarks.doubt("the files of " + folder +
                      " come in no certain order, and so do their frames: list them in order by "
                      "ls " +
                      folder +
                      "/*.orvenevent > list.txt, and give that by --inputListFile "
                      "list.txt");
    }
}

void remark_on_bounds(const Parameters& parameters, Remarks& remarks) {
    if (parameters.nPhotons_min > parameters.nPhotons_max) {
        remarks.doubt("no event has at least " + std::to_string(parameters.nPhotons_min) +
                      " and at most " + std::to_string(parameters.nPhotons_max) +
                      " photons: -m is the smallest count, -M the largest");
    }
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const bool in_order =  // not so with NaN
        parameters.psd_min.value_or(-infinity) <= parameters.psd_max.value_or(infinity);
    if (!in_order) {
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
