#include "Recording.h"

#include "Event.h"

#include <limits>
#include <stdexcept>

namespace {

void require(bool condition, const char* message) {
    if (!condition) {
        throw std::invalid_argument(message);
    }
}

}  // namespace

void Recording::check() const {
    constexpr std::uint64_t limit = std::numeric_limits<std::uint32_t>::max();
    require(nEvents <= 1'000'000'000'000, "a recording has at most 1000G events");
    require(nFiles >= 1 && nFiles <= 1'000'000, "a recording has 1 to 1000000 files");
    require(nPulses >= 1 && nPulses <= limit / nFiles,
            "a file has at least one pulse, all files together have at most 4294967295");
    require(nEvents / (nFiles * nPulses) < limit,
            "more than 4294967295 events per pulse: ask for more pulses");
    require(pulse_period_s >= 1e-6 && pulse_period_s <= 1, "a pulse period is 1e-6 to 1 seconds");
    require(turn_degrees >= -360 && turn_degrees <= 360, "a turn is -360 to 360 degrees");
}

std::int64_t Recording::pulse_period() const {
    return orven::Event_Time::from_seconds(pulse_period_s).value().value;
}

std::int64_t Recording::pulse_time(std::uint64_t pulse) const {
    return static_cast<std::int64_t>(pulse) * pulse_period();
}

std::uint64_t Recording::events_before(std::uint64_t pulse) const {
    const std::uint64_t nPulses_in_all = nFiles * nPulses;
    return nEvents / nPulses_in_all * pulse + nEvents % nPulses_in_all * pulse / nPulses_in_all;
}
