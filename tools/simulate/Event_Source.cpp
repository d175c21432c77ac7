#include "Event_Source.h"

#include <cmath>
#include <numbers>

namespace {

constexpr unsigned turn_bits = 30;

constexpr std::uint32_t low_half(std::uint64_t bits) {
    return static_cast<std::uint32_t>(bits);
}

constexpr std::uint32_t high_half(std::uint64_t bits) {
    return static_cast<std::uint32_t>(bits >> 32);
}

}  // namespace

Event_Source::Event_Source(const Scene& scene_, const Recording& recording_,
                           std::uint64_t file_index)
    : scene(scene_),
      recording(recording_),
      random(recording_.seed, file_index),
      next_pulse(file_index * recording_.nPulses),
      pulse_period(recording_.pulse_period()),
      turns{turn_by(0), turn_by(0)} {}

void Event_Source::fill(std::span<orven::Photon_Event> piece) {
    for (orven::Photon_Event& event : piece) {
        while (nTaken == nInPulse) {
            start_next_pulse();
        }
        event = next_event();
    }
}

Event_Source::Turn Event_Source::turn_by(double degrees) {
    constexpr double scale = std::int64_t{1} << turn_bits;
    const double angle = degrees * std::numbers::pi / 180;
    return {std::llround(std::cos(angle) * scale), std::llround(std::sin(angle) * scale)};
}

void Event_Source::start_next_pulse() {
    const auto nTurns = static_cast<double>(next_pulse);
    turns[1] = turn_by(std::fmod(nTurns * recording.turn_degrees, 360));
    pulse_start = recording.pulse_time(next_pulse);
    nInPulse = recording.events_before(next_pulse + 1) - recording.events_before(next_pulse);
    nTaken = 0;
    ++next_pulse;
}

orven::Photon_Event Event_Source::next_event() {
    constexpr std::int64_t pixel = orven::Event_Length::units_per_pixel;
    constexpr std::int64_t columns = orven::detector_pixels;
    constexpr std::int64_t center = columns / 2 * pixel;

    // Each event falls somewhere in a share of the pulse that belongs to it alone: times ascend
    // without sorting, and nothing has to be kept.
    const std::uint64_t moment = random();
    const std::uint64_t share = ((nTaken << 32) + low_half(moment)) / nInPulse;
    ++nTaken;
    const std::uint32_t phase = scene.phase(static_cast<std::uint32_t>(share));
    const std::int64_t time = pulse_start + ((pulse_period * phase) >> 32);

    const Component& component = scene.component(phase, high_half(moment));
    const std::uint64_t place = random();
    const std::uint32_t cell = component.pixels(high_half(place));
    const std::int64_t dx = cell % columns * pixel + static_cast<std::uint16_t>(place) - center;
    const std::int64_t dy =
        cell / columns * pixel + static_cast<std::uint16_t>(place >> 16) - center;
    const Turn& turn = turns[component.turns ? 1 : 0];
    const std::int64_t x = center + ((dx * turn.cosine - dy * turn.sine) >> turn_bits);
    const std::int64_t y = center + ((dx * turn.sine + dy * turn.cosine) >> turn_bits);

    const std::uint64_t shape = random();
    const std::int64_t nPhotons = component.nPhotons(low_half(shape)) >> 16;
    const std::int64_t psd = component.psd(high_half(shape));
    return {orven::Event_Length(static_cast<int>(x)), orven::Event_Length(static_cast<int>(y)),
            orven::Event_Time(time), static_cast<std::uint64_t>(nPhotons),
            static_cast<double>(psd) * 0x1p-32};
}
