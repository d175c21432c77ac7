#pragma once

#include "Units.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace orven {

/// One detected event: the same fields, order and widths as its 32-byte record on disk.
template <class Length_Type, class Time_Type, class PSD_Type>
struct Event {
    using Length = Length_Type;
    using Time = Time_Type;
    using PSD = PSD_Type;

    Length x;                ///< position along the x axis
    Length y;                ///< position along the y axis
    Time time;               ///< time stamp
    std::uint64_t nPhotons;  ///< number of photons that make up the event
    PSD psd;                 ///< pulse-shape value

    Event() = default;
    constexpr Event(Length x_, Length y_, Time time_, std::uint64_t nPhotons_, double psd_) noexcept
        : x(x_), y(y_), time(time_), nPhotons(nPhotons_), psd(psd_) {}
};

/// The units of the event files.
using Event_Length = Length<int, 65536>;
using Event_Time = Time<long, 1.5625e-9>;

/// The event of the event files.
using Photon_Event = Event<Event_Length, Event_Time, PSD_Parameter_SumTimeDistToFirst>;

// Records are read from the file straight into memory.
static_assert(std::is_trivially_copyable_v<Photon_Event>);
static_assert(std::is_trivially_copyable_v<Event_Time> && sizeof(Event_Time) == 8);
static_assert(sizeof(Photon_Event) == 32);
static_assert(offsetof(Photon_Event, x) == 0 && offsetof(Photon_Event, y) == 4);
static_assert(offsetof(Photon_Event, time) == 8 && offsetof(Photon_Event, nPhotons) == 16);
static_assert(offsetof(Photon_Event, psd) == 24);

}  // namespace orven
