#include "Recording.h"

#include "Event.h"

#include <cmath>
#include <limits>
#include <stdexcept>

void Recording::check() const {
    constexpr std::uint64_t limit = std::numeric_limits<std::uint32_t>::max();
    if (nPulses > limit / nFiles) {
        throw std::invalid_argument("more than 4294967295 pulses in all files");
    }
    if (nEvents / (nFiles * nPulses) >= limit) {
        throw std::invalid_argument("more than 4294967295 events per pulse: ask for more pulses");
    }
}

std::int64_t Recording::pulse_period() const {
    return std::llround(pulse_period_s / orven::Event_Time::seconds_per_tick);
}

std::int64_t Recording::pulse_time(std::uint64_t pulse) const {
    return static_cast<std::int64_t>(pulse) * pulse_period();
}

std::uint64_t Recording::events_before(std::uint64_t pulse) const {
    const std::uint64_t nPulses_in_all = nFiles * nPulses;
    return nEvents / nPulses_in_all * pulse + nEvents % nPulses_in_all * pulse / nPulses_in_all;
}
