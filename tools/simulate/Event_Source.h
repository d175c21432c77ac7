#pragma once

#include "Event.h"
#include "Random.h"
#include "Recording.h"
#include "Scene.h"

#include <array>
#include <cstdint>
#include <span>

/// Makes the events of one file, one after the other, in ascending order of time.
class Event_Source {
public:
    /// Scene and recording must outlive this object.
    Event_Source(const Scene& scene_, const Recording& recording_, std::uint64_t file_index);

    /// The next events; no more than the file has.
    void fill(std::span<orven::Photon_Event> piece);

private:
    /// A turn about the middle of the detector, in units of 2^-30.
    struct Turn {
        std::int64_t cosine;
        std::int64_t sine;
    };

    [[nodiscard]] static Turn turn_by(double degrees);
    void start_next_pulse();
    [[nodiscard]] orven::Photon_Event next_event();

    const Scene& scene;
    const Recording& recording;
    Random random;
    std::uint64_t next_pulse;
    std::uint64_t nInPulse = 0;
    std::uint64_t nTaken = 0;  ///< of the current pulse's events
    std::int64_t pulse_start = 0;
    std::int64_t pulse_period;
    std::array<Turn, 2> turns;  ///< of what stands still, and of the sample
};
