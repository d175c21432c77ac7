#pragma once

#include <compare>
#include <cstdint>

namespace orven {

/// A scale given as a template argument, e.g. the 1.5625e-9 of `Time<long, 1.5625e-9>`.
struct Scale {
    double value;
    constexpr Scale(double scale) noexcept : value(scale) {}  // NOLINT: a plain number names it
};

/// A position or width along one detector axis, fixed point.
/// Units: `value` counts 1/`unitsPerPixel` of a detector pixel.
/// Range: any value of `Storage_Type`, negative included.
template <class Storage_Type, Storage_Type unitsPerPixel>
struct Length {
    Storage_Type value;

    static constexpr Storage_Type units_per_pixel = unitsPerPixel;

    Length() = default;
    constexpr explicit Length(Storage_Type raw) noexcept : value(raw) {}
    constexpr auto operator<=>(const Length&) const = default;  // NOLINT(modernize-use-nullptr)
};

/// A point in time or a duration, fixed point.
/// Units: `value` counts ticks of `tick` seconds.
/// Range: any value of `Storage_Type`, negative included.
template <class Storage_Type, Scale tick>
struct Time {
    Storage_Type value;

    static constexpr double seconds_per_tick = tick.value;

    Time() = default;
    constexpr explicit Time(Storage_Type raw) noexcept : value(raw) {}
    constexpr auto operator<=>(const Time&) const = default;  // NOLINT(modernize-use-nullptr)
};

/// The pulse-shape (PSD) value of an event: computed by the recording system from the time
/// distances of the event's photons to its first photon. Dimensionless; NaN is possible.
struct PSD_Parameter_SumTimeDistToFirst {
    double value;

    PSD_Parameter_SumTimeDistToFirst() = default;
    constexpr explicit PSD_Parameter_SumTimeDistToFirst(double raw) noexcept : value(raw) {}
};

}  // namespace orven
