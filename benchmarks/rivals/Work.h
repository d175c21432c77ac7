#pragma once

#include "Event.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

// Of vexolan the rivals use the event library, which knows what a file looks like, and nothing
// else.
using orven::Photon_Event;

/// Bounds of what is counted, all included.
struct Bounds {
    std::uint64_t photons_min = 0;
    std::uint64_t photons_max = UINT64_MAX;
    double psd_min = -1e300;
    double psd_max = 1e300;

    [[nodiscard]] bool contain(const Photon_Event& event) const {
        // Without branches: which events pass cannot be predicted.
        return (int{event.nPhotons >= photons_min} & int{event.nPhotons <= photons_max} &
                int{event.psd.value >= psd_min} & int{event.psd.value <= psd_max}) != 0;
    }
};

/// What every rival is told: arguments of the form `name=value`, and input files.
struct Work {
    std::vector<std::string> files;
    std::string output;
    std::string counters;  ///< how to count: "private" or "shared"
    std::string axes;      ///< for Boost.Histogram: "regular" or "integer"
    std::size_t threads = 1;
    std::size_t bytes = 0;   ///< for writing alone: the size of the output
    std::size_t size = 512;  ///< pixels along either axis
    std::size_t pages = 0;   ///< time bins; 0 for an image over all time
    std::int64_t ticks = 1;  ///< width of a time bin
    Bounds bounds;

    Work() = default;

    /// Throws: std::out_of_range for an unknown name, std::invalid_argument for no number.
    Work(int argc, char** argv);

    [[nodiscard]] std::size_t nCells() const { return size * size * (pages == 0 ? 1 : pages); }

    /// Pixels are equally wide, a whole number of units.
    [[nodiscard]] std::int32_t pixel_width() const;
};

/// Pixel numbers by multiplication instead of division. With the reciprocal rounded up, the product
/// truncates to the exact quotient for all 32-bit positions.
class Pixels {
public:
    explicit Pixels(const Work& work) : reciprocal(std::nextafter(1.0 / work.pixel_width(), 1.0)) {}

    [[nodiscard]] std::uint32_t operator()(std::int32_t position) const {
        return static_cast<std::uint32_t>(static_cast<std::int32_t>(position * reciprocal));
    }

private:
    double reciprocal;
};

/// Calls `body(thread)` from `threads` threads and waits for all.
void run_threads(std::size_t threads, const std::function<void(std::size_t)>& body);

/// Reads all events of all files in pieces that stay in a core's cache, and calls
/// `body(thread, piece)`; ranges of the files are shared out among the threads.
/// Throws: what reading a file throws.
inline constexpr std::size_t piece_events = 2048;
void for_each_piece(const Work& work,
                    const std::function<void(std::size_t, std::span<const Photon_Event>)>& body);

/// Reads all bytes of all files in pieces of 256 KiB, the fastest size, and does nothing with them.
void read_all(const Work& work);

/// Writes the counters as they lie in memory.
void write_raw(const std::string& path, std::span<const std::uint32_t> counters);

/// Writes so many bytes in pieces of 1 MiB.
void write_zeros(const std::string& path, std::size_t bytes);
