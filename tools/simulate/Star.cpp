#include "Star.h"

#include <algorithm>
#include <cmath>

namespace star {
namespace {

constexpr double center = 128;
constexpr double aperture_radius = 121;
constexpr double outer_radius = 90;
constexpr double rim_width = 4;
constexpr double hub_radius = 5;
constexpr double nSpokes = 16;
constexpr double dot_offset = 76;
constexpr double dot_radius = 6;

double radius(double x, double y) {
    return std::hypot(x - center, y - center);
}

/// From 0 to 1 as `distance` goes from half a width before the edge to half a width behind it.
double soft_step(double distance, double width) {
    const double t = std::clamp(distance / width + 0.5, 0.0, 1.0);
    return t * t * (3 - 2 * t);
}

/// 1 inside a disc, 0 outside, with an edge as soft as the detector sees it.
double disc(double distance_from_center, double disc_radius) {
    constexpr double blur = 2;
    return soft_step(disc_radius - distance_from_center, blur);
}

double peak(double phase, double position, double width) {
    const double t = (phase - position) / width;
    return std::exp(-t * t / 2);
}

}  // namespace

double beam(double x, double y) {
    constexpr double profile_width = 85;
    const double r = radius(x, y);
    return peak(r, 0, profile_width) * disc(r, aperture_radius);
}

double spokes(double x, double y) {
    constexpr double blur = 2;
    const double r = radius(x, y);
    const double angle = std::atan2(y - center, x - center);
    const double distance_from_edge = std::sin(nSpokes * angle) * r / nSpokes;
    const double rim = disc(r, outer_radius) - disc(r, outer_radius - rim_width);
    const double hub = disc(r, hub_radius);
    const double sectors = soft_step(distance_from_edge, blur) * disc(r, outer_radius);
    const double dot = disc(radius(x - dot_offset, y + dot_offset), dot_radius);
    return std::max({sectors, rim, hub, dot});
}

double gaps(double x, double y) {
    return disc(radius(x, y), outer_radius) * (1 - spokes(x, y));
}

double aperture_glow(double x, double y) {
    constexpr double veil = 0.18;
    constexpr double ring_width = 2.5;
    return veil + peak(radius(x, y), aperture_radius, ring_width);
}

double spokes_transmission(double phase) {
    const double fast = 0.6 * std::exp(-phase / 0.08);  // the fastest pass everything
    const double window = 0.85 * peak(phase, 0.45, 0.06);
    const double slow = phase > 0.75 ? 0.55 : 0;
    return std::min(1.0, 0.08 + fast + window + slow);
}

double gaps_transmission(double phase) {
    return 0.95 - 0.85 * peak(phase, 0.45, 0.06);
}

double beam_rate(double phase) {
    constexpr double hump = 0.35;
    const double t = phase / hump;
    return t * t * std::exp(2 * (1 - t));
}

double glow_rate(double phase) {
    return 4 * std::exp(-phase / 0.015) + 0.1;
}

}  // namespace star
