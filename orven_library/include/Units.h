#pragma once

#include <cmath>
#include <compare>
#include <cstdint>
#include <limits>
#include <optional>

// The one place where ticks and seconds, or positions and detector pixels, become each other.

namespace orven {

/// How many pixels the detector has along each axis.
inline constexpr int detector_pixels = 256;

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

    /// The nearest length to so many detector pixels, halves away from zero.
    /// Range: the length must fit `Storage_Type`.
    [[nodiscard]] static Length from_pixels(double pixels) noexcept {
        return Length(static_cast<Storage_Type>(std::round(pixels * unitsPerPixel)));
    }

    /// The length in detector pixels.
    [[nodiscard]] constexpr double in_pixels() const noexcept {
        return static_cast<double>(value) / unitsPerPixel;
    }

    constexpr auto operator<=>(const Length&) const = default;  // NOLINT(modernize-use-nullptr)
};

/// A point in time or a duration, fixed point.
/// Units: `value` counts ticks of `tick` seconds.
/// Range: any value of `Storage_Type`, negative included.
template <class Storage_Type, Scale tick>
struct Time {
    Storage_Type value;

    static constexpr double seconds_per_tick = tick.value;
    /// How many whole ticks a second has.
    static constexpr auto ticks_per_second = static_cast<Storage_Type>(1 / tick.value);

    Time() = default;
    constexpr explicit Time(Storage_Type raw) noexcept : value(raw) {}

    /// The nearest time to so many seconds, halves away from zero; empty if it does not fit
    /// `Storage_Type`, as for NaN.
    [[nodiscard]] static std::optional<Time> from_seconds(double seconds) noexcept {
        constexpr auto lowest = static_cast<double>(std::numeric_limits<Storage_Type>::min());
        const double ticks = std::round(seconds / seconds_per_tick);
        if (!(ticks >= lowest && ticks < -lowest)) {
            return std::nullopt;
        }
        return Time(static_cast<Storage_Type>(ticks));
    }

    /// The time in seconds.
    [[nodiscard]] constexpr double in_seconds() const noexcept { return seconds_of(value); }

    /// A number of ticks, of any arithmetic type, in seconds.
    [[nodiscard]] static constexpr double seconds_of(auto ticks) noexcept {
        return static_cast<double>(ticks) * seconds_per_tick;
    }

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
