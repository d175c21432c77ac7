#pragma once

#include "Distributions.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// One kind of event: where on the detector it falls, and what it looks like.
struct Component {
    Alias_Table pixels;       ///< row * 256 + column
    Quantile_Table nPhotons;  ///< in 1/65536
    Quantile_Table psd;       ///< in 2^-32
    bool turns;               ///< whether it comes through the sample, which may turn
};

/// What the detector sees: a few components, mixed differently at each phase of a pulse.
/// A phase is a fraction of the pulse period, in units of 2^-32.
struct Scene {
    static constexpr std::size_t max_components = 4;
    static constexpr unsigned slice_bits = 10;
    static constexpr std::size_t nSlices = std::size_t{1} << slice_bits;

    /// The upper limits of all components' shares of 2^32, the last one's left out.
    using Mixture = std::array<std::uint64_t, max_components - 1>;

    std::vector<Component> components;
    std::vector<Mixture> mixtures;  ///< one for each of `nSlices` equal parts of the period
    Quantile_Table phases;

    /// The phase before which the fraction `u` * 2^-32 of a pulse's events arrive.
    [[nodiscard]] std::uint32_t phase(std::uint32_t u) const noexcept {
        return static_cast<std::uint32_t>(phases(u));
    }

    /// The component that 32 random bits stand for at a phase.
    [[nodiscard]] const Component& component(std::uint32_t phase,
                                             std::uint32_t bits) const noexcept {
        std::size_t index = 0;
        for (const std::uint64_t limit : mixtures[phase >> (32 - slice_bits)]) {
            index += bits >= limit ? 1U : 0U;
        }
        return components[index];
    }
};

/// The names of all scenes.
[[nodiscard]] std::vector<std::string> scene_names();

/// Throws: std::out_of_range for a name that is not one of `scene_names`.
[[nodiscard]] Scene make_scene(const std::string& name);
