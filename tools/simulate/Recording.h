#pragma once

#include <cstdint>

/// How a recording is laid out in time and over files. Pulses start at time 0 and follow each
/// other without a gap, from file to file as well; all have the same number of events.
struct Recording {
    std::uint64_t nEvents = 1'000'000;  ///< in all files
    std::uint64_t nFiles = 1;
    std::uint64_t nPulses = 100;  ///< in each file
    double pulse_period_s = 0.01;
    double turn_degrees = 0;  ///< of the sample, from each pulse to the next
    bool triggers = false;
    std::uint64_t seed = 1;

    /// Throws: std::invalid_argument for numbers that give no recording. The other functions rely
    /// on this check.
    void check() const;

    /// Units: ticks.
    [[nodiscard]] std::int64_t pulse_period() const;

    /// The start of a pulse in ticks. Pulses are numbered through all files.
    [[nodiscard]] std::int64_t pulse_time(std::uint64_t pulse) const;

    /// The number of events before a pulse.
    [[nodiscard]] std::uint64_t events_before(std::uint64_t pulse) const;
};
