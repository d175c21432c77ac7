#pragma once

#include <cstdint>

/// The SplitMix64 generator: small, fast and the same on every machine, which the distributions of
/// the standard library are not.
class Random {
public:
    /// One of many generators that share a seed, one for each `stream`.
    constexpr Random(std::uint64_t seed, std::uint64_t stream) noexcept
        : state(mix(mix(seed) + stream)) {}

    /// The next 64 random bits.
    constexpr std::uint64_t operator()() noexcept { return mix(state += 0x9E3779B97F4A7C15); }

private:
    static constexpr std::uint64_t mix(std::uint64_t bits) noexcept {
        bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9;
        bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EB;
        return bits ^ (bits >> 31);
    }

    std::uint64_t state;
};
