#pragma once

#include "Filters_Events.h"

#include <cstdint>
#include <optional>
#include <string>

/// Which events are looked at: those that the options -m, -M, -p and -P of vexolan would count.
struct Bounds {
    std::optional<std::uint64_t> nPhotons_min;
    std::optional<std::uint64_t> nPhotons_max;
    std::optional<double> psd_min;
    std::optional<double> psd_max;

    [[nodiscard]] bool any() const noexcept {
        return nPhotons_min || nPhotons_max || psd_min || psd_max;
    }

    [[nodiscard]] orven::Photon_Filter filter() const noexcept;

    /// As options of a command line, each with a blank before it.
    [[nodiscard]] std::string options() const;
};
