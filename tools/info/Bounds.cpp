#include "Bounds.h"

#include "number_texts.h"

#include <limits>

orven::Photon_Filter Bounds::filter() const noexcept {
    constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
    return orven::Photon_Filter({nPhotons_min.value_or(0), nPhotons_max.value_or(most)},
                                {psd_min, psd_max});
}

std::string Bounds::options() const {
    std::string text;
    const auto add = [&text](const char* option, const std::string& value) {
        text += std::string(" ") + option + " " + value;
    };
    if (nPhotons_min) {
        add("-m", std::to_string(*nPhotons_min));
    }
    if (nPhotons_max) {
        add("-M", std::to_string(*nPhotons_max));
    }
    if (psd_min) {
        add("-p", exact(*psd_min));
    }
    if (psd_max) {
        add("-P", exact(*psd_max));
    }
    return text;
}
