#pragma once

/// The sample of the scene "star": a resolution star and a marker dot, cut from one material, the
/// gaps of the star filled with another, in a round beam. Positions are detector pixels, rows
/// counted from the top; phases are fractions of the pulse period.
namespace star {

/// Intensity of the beam without sample, 0 to 1.
[[nodiscard]] double beam(double x, double y);

/// How much of a place the first material covers, 0 to 1: the spokes, and the dot at the upper
/// right that tells how the image lies.
[[nodiscard]] double spokes(double x, double y);

/// How much of a place the second material covers, 0 to 1.
[[nodiscard]] double gaps(double x, double y);

/// A bright ring: radiation from the rim of the beam's aperture.
[[nodiscard]] double aperture_glow(double x, double y);

/// Fraction of the beam that passes each material.
[[nodiscard]] double spokes_transmission(double phase);
[[nodiscard]] double gaps_transmission(double phase);

/// Intensity of the beam and of the glow over the time after a pulse.
[[nodiscard]] double beam_rate(double phase);
[[nodiscard]] double glow_rate(double phase);

}  // namespace star
