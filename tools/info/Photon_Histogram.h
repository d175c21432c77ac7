#pragma once

#include "Distribution.h"
#include "Extent.h"
#include "Log_Histogram.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// Counts of events by their numbers of photons. Numbers below 4096 have a bin each.
class Photon_Histogram {
public:
    /// Throws: std::bad_alloc.
    void add(std::uint64_t nPhotons) {
        if (nPhotons < nFew) {
            ++few[nPhotons];
        } else {
            add_to_many(nPhotons);
        }
    }

    /// Throws: std::bad_alloc.
    Photon_Histogram& operator+=(const Photon_Histogram& other);
    void clear() noexcept;
    [[nodiscard]] Distribution distribution() const;
    [[nodiscard]] Extent<std::uint64_t> extent() const noexcept;

private:
    void add_to_many(std::uint64_t nPhotons);

    static constexpr std::size_t nFew = 4096;

    std::vector<std::uint64_t> few = std::vector<std::uint64_t>(nFew);
    Log_Histogram many;
    Extent<std::uint64_t> extent_of_many;  ///< doubles do not hold them all
};
